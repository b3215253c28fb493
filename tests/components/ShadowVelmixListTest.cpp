// The list step: the host's active component collection saved through its
// own file archive, and 0x80004005 when there is none.
#include "components/ShadowVelmixList.h"

#include "ConvertHost.h"
#include "support/TempFolder.h"

namespace {

// A component collection that records what its file archive is asked, and
// answers IFileArchive only when `archive` is set. Not counted.
class RecordingList final : public IComponentCollection, public IFileArchive {
public:
    explicit RecordingList(bool archive) : m_archive(archive) {}
    std::vector<std::wstring> calls;

    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IComponentCollection) *out = static_cast<IComponentCollection*>(this);
        else if (iid == IID_IFileArchive && m_archive) *out = static_cast<IFileArchive*>(this);
        return *out ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT get_Count(int32_t*) override { return E_NOTIMPL; }
    HRESULT get_Item(int32_t, IUnknown**) override { return E_NOTIMPL; }
    HRESULT get_Index(IUnknown*, int32_t*) override { return E_NOTIMPL; }
    HRESULT get_ItemName(int32_t, IString**) override { return E_NOTIMPL; }
    HRESULT Rename(int32_t, IString*) override { return E_NOTIMPL; }
    HRESULT CollectionLock() override { return E_NOTIMPL; }
    HRESULT CollectionUnlock() override { return E_NOTIMPL; }
    HRESULT IsCollectionLocked() override { return E_NOTIMPL; }
    HRESULT CreateComponent(tagREFString, const IID*, void**) override { return E_NOTIMPL; }
    HRESULT LoadModule(tagREFString) override { return E_NOTIMPL; }
    HRESULT get_Filename(IString**) override { return E_NOTIMPL; }
    HRESULT put_Filename(IString* name) override {
        calls.push_back(L"put_Filename " + TextOf(name));
        return S_OK;
    }
    HRESULT get_Filter(IString**) override { return E_NOTIMPL; }
    HRESULT get_Name(IString**) override { return E_NOTIMPL; }
    HRESULT Load() override { return E_NOTIMPL; }
    HRESULT Save() override {
        calls.push_back(L"Save");
        return E_FAIL; // not examined by the step
    }

private:
    bool m_archive;
};

IPtr<IParameters> NewStep(const std::wstring& fileName) {
    IPtr<IParameters> step = CreateRegistered(L"ShadowVelmixList");
    EXPECT_TRUE(step);
    if (step) step->put_Item(CShadowVelmixList::kFileName, IPtr<IString>::Adopt(ISCreate(fileName.c_str())).Get());
    return step;
}

TEST(ShadowVelmixList, HandsTheNameToTheArchiveThenSaves) {
    struct Case {
        const char* name;
        bool answered, archive;
        std::wstring fileName;
        HRESULT result;
        std::vector<std::wstring> calls;
    } const cases[] = {
        {"archive", true, true, L"/x/components.csv", S_OK, {L"put_Filename /x/components.csv", L"Save"}},
        {"empty name passed on", true, true, L"", S_OK, {L"put_Filename ", L"Save"}},
        {"no file archive", true, false, L"/x/c.csv", E_FAIL, {}},
        {"no active collection", false, false, L"/x/c.csv", E_FAIL, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        RoutingCollection host;
        RecordingList list(c.archive);
        host.Answer(L"ActiveComponentCollection", c.answered ? static_cast<IComponentCollection*>(&list) : nullptr);
        IPtr<IParameters> step = NewStep(c.fileName);
        ASSERT_TRUE(step);
        EXPECT_EQ(step.Query<IStep>()->TurnOn(), c.result);
        EXPECT_EQ(list.calls, c.calls);
    }
}

TEST(ShadowVelmixList, SavesTheHostsListAndKeepsTheBootstrappedCollection) {
    // No host collection yet: the step makes one from "CollectionsEx".
    InitializeModule(nullptr, nullptr);
    ASSERT_FALSE(gGlobalComponentCollection);
    testsupport::TempFolder dir;
    const std::string file = dir / "components.csv";
    IPtr<IParameters> step = NewStep(std::wstring(file.begin(), file.end()));
    ASSERT_TRUE(step);
    ASSERT_EQ(step.Query<IStep>()->TurnOn(), S_OK);
    EXPECT_TRUE(gGlobalComponentCollection);

    // The host's own components are in use (the list itself among them):
    // its line comes once, with no companion; the packager reads the file
    // back through the host's string collection.
    IPtr<IFileArchive> read = CreateHostObject<IFileArchive>(L"StringCollection");
    ASSERT_TRUE(read);
    read->put_Filename(IPtr<IString>::Adopt(ISCreate(std::wstring(file.begin(), file.end()).c_str())).Get());
    ASSERT_EQ(read->Load(), S_OK);
    IPtr<IStringCollection> lines = read.Query<IStringCollection>();
    int32_t count = 0;
    ASSERT_EQ(lines->get_Count(&count), S_OK);
    std::vector<std::wstring> text;
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> line;
        lines->get_Line(i, line.Out());
        text.push_back(TextOf(line.Get()));
    }
    EXPECT_EQ(std::count(text.begin(), text.end(), L"CollectionsEx,"), 1) << text.size();
}

} // namespace
