// Creation, reference counting, interface lookup and teardown of a
// component, on a test-only component.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ProbeComponent.h"
#include "module/Module.h"

namespace {

// The host input-parameters object a component may hold: answers
// IInputParameters with a chosen status and counts the requests.
class HeldInputs final : public IInputParameters {
public:
    HRESULT answer = S_OK;
    int queries = 0;
    std::atomic<uint32_t> refs{1};

    HRESULT QueryInterface(const IID& iid, void** out) override {
        ++queries;
        *out = nullptr;
        if (iid != IID_IInputParameters || FAILED(answer)) return answer;
        *out = static_cast<IInputParameters*>(this);
        AddRef();
        return answer;
    }
    uint32_t AddRef() override { return ++refs; }
    uint32_t Release() override { return --refs; }
    HRESULT get_Count(int32_t*) override { return E_NOTIMPL; }
    HRESULT get_Item(int32_t, IUnknown**) override { return E_NOTIMPL; }
    HRESULT get_Index(IUnknown*, int32_t*) override { return E_NOTIMPL; }
    HRESULT get_ItemName(int32_t, IString**) override { return E_NOTIMPL; }
    HRESULT Rename(int32_t, IString*) override { return E_NOTIMPL; }
    HRESULT CollectionLock() override { return E_NOTIMPL; }
    HRESULT CollectionUnlock() override { return E_NOTIMPL; }
    HRESULT IsCollectionLocked() override { return 0; }
    HRESULT AddInput(IString*, const IID*) override { return E_NOTIMPL; }
    HRESULT get_InputValue(int32_t, IUnknown**) override { return E_NOTIMPL; }
};

class ComponentObject : public ::testing::Test {
protected:
    void SetUp() override { CProbe::ResetSettings(); }
    void TearDown() override { CProbe::ResetSettings(); }

    template <class I>
    I* Create(const IID& iid) {
        void* out = nullptr;
        IID wanted = iid;
        EXPECT_EQ(CObject<CProbe>::_CreateInstance(nullptr, &wanted, &out), S_OK);
        return static_cast<I*>(out);
    }
};

TEST_F(ComponentObject, CreatedWithOneReferenceAndDestroyedByTheLastRelease) {
    IStep* step = Create<IStep>(IID_IStep);
    ASSERT_NE(step, nullptr);
    EXPECT_EQ(CProbe::log.constructed, 1);
    EXPECT_EQ(step->AddRef(), 2u);
    EXPECT_EQ(step->Release(), 1u);
    EXPECT_EQ(CProbe::log.destroyed, 0);
    // The last reference dropped through a secondary interface.
    EXPECT_EQ(step->Release(), 0u);
    EXPECT_EQ(CProbe::log.finalReleased, 1);
    EXPECT_EQ(CProbe::log.destroyed, 1);

    // A final release that takes and drops a reference tears down once.
    CProbe::referencesItselfInFinalRelease = true;
    IStep* again = Create<IStep>(IID_IStep);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->Release(), 0u);
    EXPECT_EQ(CProbe::log.finalReleased, 2);
    EXPECT_EQ(CProbe::log.destroyed, 2);
}

TEST_F(ComponentObject, ConcurrentReferencesTearDownExactlyOnce) {
    IStep* step = Create<IStep>(IID_IStep);
    ASSERT_NE(step, nullptr);
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    for (int i = 1; i < kThreads; ++i) step->AddRef(); // one reference per thread
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([step] {
            for (int i = 0; i < kRounds; ++i) {
                step->AddRef();
                step->Release();
            }
            step->Release();
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(CProbe::log.finalReleased, 1);
    EXPECT_EQ(CProbe::log.destroyed, 1);
}

TEST_F(ComponentObject, FailedCreationDestroysTheNewObjectAndReturnsTheStatus) {
    // Refused first queries, failing FinalConstructs and a throwing one.
    struct Failure {
        IID iid;
        HRESULT finalConstruct;
        bool throws;
        HRESULT status;
    };
    const Failure failures[] = {
        {IID_IShadow, S_OK, false, E_NOINTERFACE}, {IID_IParameters, S_OK, false, E_NOINTERFACE},
        {IID_NULL, S_OK, false, E_NOINTERFACE},    {__IIDOfc("INothing"), S_OK, false, E_NOINTERFACE},
        {IID_IStep, E_FAIL, false, E_FAIL},        {IID_IStep, E_INVALIDARG, false, E_INVALIDARG},
        {IID_IStep, S_FALSE, false, S_FALSE},      {IID_IStep, S_OK, true, S_OK},
    };
    for (const Failure& c : failures) {
        SCOPED_TRACE("row " + std::to_string(&c - failures));
        CProbe::ResetSettings();
        CProbe::finalConstructResult = c.finalConstruct;
        CProbe::finalConstructThrows = c.throws;
        IID wanted = c.iid;
        // A refused query must overwrite the slot with null.
        void* out = c.status == E_NOINTERFACE ? static_cast<void*>(&wanted) : nullptr;
        if (c.throws) {
            EXPECT_THROW(CObject<CProbe>::_CreateInstance(nullptr, &wanted, &out), std::runtime_error);
        } else {
            EXPECT_EQ(CObject<CProbe>::_CreateInstance(nullptr, &wanted, &out), c.status);
            EXPECT_EQ(out, nullptr);
        }
        EXPECT_EQ(CProbe::log.constructed, 1);
        EXPECT_EQ(CProbe::log.finalReleased, 1);
        EXPECT_EQ(CProbe::log.destroyed, 1);
    }
}

TEST_F(ComponentObject, NullArgumentsAreRefusedBeforeCreation) {
    IID wanted = IID_IStep;
    void* out = nullptr;
    EXPECT_EQ(CObject<CProbe>::_CreateInstance(nullptr, nullptr, &out), E_POINTER);
    EXPECT_EQ(CObject<CProbe>::_CreateInstance(nullptr, &wanted, nullptr), E_POINTER);
    EXPECT_EQ(CProbe::log.constructed, 0);
}

TEST_F(ComponentObject, EveryInterfaceLeadsToTheSameIdentity) {
    IUnknown* root = Create<IUnknown>(IID_IUnknown);
    ASSERT_NE(root, nullptr);
    const IID faces[] = {IID_IObjectInfo, IID_IStep, IID_IUIPropertyPageSpecify, IID_IUnknown};
    for (const IID& face : faces) {
        IUnknown* viaFace = nullptr;
        ASSERT_EQ(root->QueryInterface(face, reinterpret_cast<void**>(&viaFace)), S_OK);
        IUnknown* identity = nullptr;
        ASSERT_EQ(viaFace->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
        EXPECT_EQ(identity, root);
        // Asking the same face again from another face gives the same pointer.
        IUnknown* again = nullptr;
        ASSERT_EQ(identity->QueryInterface(face, reinterpret_cast<void**>(&again)), S_OK);
        EXPECT_EQ(again, viaFace);
        again->Release();
        identity->Release();
        viaFace->Release();
    }
    IUnknown* none = root;
    EXPECT_EQ(root->QueryInterface(IID_IShadow, reinterpret_cast<void**>(&none)), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(root->Release(), 0u);
    EXPECT_EQ(CProbe::log.destroyed, 1);
}

TEST_F(ComponentObject, InputParametersArePassedToTheHeldObject) {
    // Without a held object the row is skipped.
    IUnknown* root = Create<IUnknown>(IID_IUnknown);
    ASSERT_NE(root, nullptr);
    void* out = root;
    EXPECT_EQ(root->QueryInterface(IID_IInputParameters, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);

    // With one, its answer and status come back as they are.
    HeldInputs held;
    CProbe::inputParameters = &held;
    for (HRESULT answer : {S_OK, S_FALSE, E_FAIL}) {
        SCOPED_TRACE(answer);
        held.answer = answer;
        EXPECT_EQ(root->QueryInterface(IID_IInputParameters, &out), answer);
        EXPECT_EQ(out, SUCCEEDED(answer) ? static_cast<IInputParameters*>(&held) : nullptr);
        EXPECT_EQ(held.refs.load(), SUCCEEDED(answer) ? 2u : 1u);
        if (out) held.Release();
    }
    EXPECT_EQ(held.queries, 3);

    // The component's own count did not move.
    EXPECT_EQ(root->Release(), 0u);
    EXPECT_EQ(held.refs.load(), 1u);
}

TEST_F(ComponentObject, EveryInstanceReportsTheSameNameText) {
    IObjectInfo* first = Create<IObjectInfo>(IID_IObjectInfo);
    IObjectInfo* second = Create<IObjectInfo>(IID_IObjectInfo);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    tagREFString a{0, nullptr};
    tagREFString b{0, nullptr};
    EXPECT_EQ(first->GetName(0, &a), S_OK);
    EXPECT_EQ(second->GetName(7, &b), S_OK);
    EXPECT_EQ(a.m_pString, b.m_pString);
    EXPECT_EQ(std::wstring(a.m_pString, a.m_Length), L"Probe");
    EXPECT_EQ(b.m_Length, 5);
    EXPECT_EQ(first->GetName(0, nullptr), E_POINTER);
    first->Release();
    second->Release();
    EXPECT_EQ(CProbe::log.destroyed, 2);
}

std::wstring Text(IString* s) {
    tagREFString view{0, nullptr};
    if (!s || FAILED(s->GetString(&view)) || view.m_Length <= 0) return L"";
    return std::wstring(view.m_pString, view.m_Length);
}

TEST_F(ComponentObject, PropertyPagesAreListedInOrderWithEmptyNames) {
    InitializeModule(nullptr, nullptr); // host services from the collection module
    IUIPropertyPageSpecify* specify = Create<IUIPropertyPageSpecify>(IID_IUIPropertyPageSpecify);
    ASSERT_NE(specify, nullptr);
    IPtr<INamedCollection> pages;
    ASSERT_EQ(specify->GetPages(0, pages.Out(), nullptr), S_OK);
    ASSERT_TRUE(pages) << "the host collection module did not provide a collection";

    const std::wstring expected[] = {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage"};
    int32_t count = -1;
    ASSERT_EQ(pages->get_Count(&count), S_OK);
    ASSERT_EQ(count, 2);
    IPtr<ISuperCollection> super = pages.Query<ISuperCollection>();
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IUnknown> item;
        ASSERT_EQ(pages->get_Item(i, item.Out()), S_OK);
        IPtr<IString> page = item.Query<IString>();
        EXPECT_EQ(Text(page.Get()), expected[i]);
        IPtr<IString> name;
        pages->get_ItemName(i, name.Out());
        EXPECT_EQ(Text(name.Get()), L"");
        if (super) {
            int32_t flags = -1;
            EXPECT_EQ(super->get_ItemFlags(i, &flags), S_OK);
            EXPECT_EQ(flags, 0);
        }
    }
    // Each call makes a new collection.
    IPtr<INamedCollection> again;
    ASSERT_EQ(specify->GetPages(0, again.Out(), nullptr), S_OK);
    EXPECT_NE(again.Get(), pages.Get());
    EXPECT_EQ(specify->GetPages(0, nullptr, nullptr), E_POINTER);

    specify->Release();
    EXPECT_EQ(CProbe::log.destroyed, 1);
}

} // namespace
