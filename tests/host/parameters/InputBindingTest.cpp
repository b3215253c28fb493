#include "support/HostTestSupport.h"
#include "host/collections/ItemCollection.h"
#include "host/runtime/ActiveWorkspace.h"

namespace {

using namespace hosttest;

IPtr<IInputParameter> NewInput(const std::wstring& component, const std::wstring& parameter,
                               const IID* iid = nullptr) {
    IPtr<IInputParameter> input = Make<IInputParameter>(L"InputParameter");
    input->put_SourceComponent(Str(component).Get());
    input->put_SourceParameter(parameter.empty() ? nullptr : Str(parameter).Get());
    input->put_Interface(iid);
    return input;
}

HRESULT Bind(IInputParameter* input, INamedCollection* collection) {
    IPtr<IUnknown> moniker;
    if (FAILED(input->get_Moniker(moniker.Out()))) return E_FAIL;
    IPtr<ICollectionMoniker> bindable = moniker.Query<ICollectionMoniker>();
    return bindable ? bindable->BindToCollection(collection) : E_NOINTERFACE;
}

// The integer of a variant, or -2 when it is none.
int32_t IntOf(IUnknown* value) {
    IPtr<IVariant> variant = QueryAs<IVariant>(value);
    int32_t number = -2;
    if (variant) variant->get_Integer(&number);
    return number;
}

// The value an input yields, or -1 when it yields none.
int32_t ValueOf(IInputParameter* input) {
    IPtr<IUnknown> value;
    return input->get_Value(value.Out()) == S_OK ? IntOf(value.Get()) : -1;
}

IPtr<IInputParameter> InputAt(IInputParameters* inputs, int32_t index) {
    IPtr<IUnknown> entry;
    inputs->get_Item(index, entry.Out());
    return entry.Query<IInputParameter>();
}

// A workspace holding a component "Source" with the parameters Port = 21
// and Host = "example". The collection is emptied at the end, which breaks
// the ring of references that bound inputs make.
class InputBindingTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_workspace = host::NewCollection();
        m_source = NewParameters();
        m_source->Add(Str(L"Port").Get(), Int(21).Get(), nullptr, 3);
        m_source->Add(Str(L"Host").Get(), Str(L"example").Get(), nullptr, 6);
        m_workspace->Add(Str(L"Source").Get(), m_source.Get(), nullptr, 0);
    }
    void TearDown() override { m_workspace->RemoveAll(); }

    IPtr<ISuperCollection> m_workspace;
    IPtr<IParametersCreatable> m_source;
};

TEST_F(InputBindingTest, BoundInputYieldsTheLiveValueOfTheSourceParameter) {
    IPtr<IInputParameter> input = NewInput(L"source", L"PORT");
    EXPECT_EQ(ValueOf(input.Get()), -1) << "unbound";
    ASSERT_EQ(Bind(input.Get(), m_workspace.Get()), S_OK);
    EXPECT_EQ(ValueOf(input.Get()), 21);
    m_source->put_Item(0, Int(2121).Get());
    EXPECT_EQ(ValueOf(input.Get()), 2121) << "read anew each time";
    m_source->Set(Str(L"Port").Get(), Int(8080).Get(), nullptr, 0, 0);
    EXPECT_EQ(ValueOf(input.Get()), 8080);

    input->put_SourceParameter(Str(L"Missing").Get());
    EXPECT_EQ(ValueOf(input.Get()), -1);
    input->put_SourceParameter(Str(L"Port").Get());
    input->put_SourceComponent(Str(L"Nobody").Get());
    EXPECT_EQ(ValueOf(input.Get()), -1);
    input->put_SourceComponent(Str(L"Source").Get());
    EXPECT_EQ(ValueOf(input.Get()), 8080);
    ASSERT_EQ(Bind(input.Get(), nullptr), S_OK);
    EXPECT_EQ(ValueOf(input.Get()), -1) << "unbound again";
}

TEST_F(InputBindingTest, ParameterBoundToAnInputReadsThroughIt) {
    IPtr<IParametersCreatable> reader = NewParameters();
    IPtr<IInputParameter> input = NewInput(L"Source", L"Port");
    reader->Add(Str(L"Port").Get(), Int(1).Get(), input.Get(), 3);
    EXPECT_EQ(IntAt(reader.Get(), 0), 1) << "an unbound input leaves the own value";
    Bind(input.Get(), m_workspace.Get());
    EXPECT_EQ(IntAt(reader.Get(), 0), 21);
    m_source->put_Item(0, Int(22).Get());
    EXPECT_EQ(IntAt(reader.Get(), 0), 22);
    IPtr<IUnknown> own, bound;
    reader->Get(Str(L"Port").Get(), own.Out(), nullptr, nullptr, 0);
    EXPECT_EQ(IntOf(own.Get()), 1) << "Get without mode 1 reads the item's own value";
    reader->Get(Str(L"Port").Get(), bound.Out(), nullptr, nullptr, 1);
    EXPECT_EQ(IntOf(bound.Get()), 22);
}

TEST_F(InputBindingTest, InputsWithoutParameterYieldTheComponentAskedForTheirInterface) {
    struct Case {
        const char* name;
        const IID* iid;
        HRESULT expected;
    };
    for (const Case& c : {Case{"no interface", nullptr, S_OK}, Case{"one it has", &IID_IParameters, S_OK},
                          Case{"one it lacks", &IID_IStep, E_FAIL}}) {
        SCOPED_TRACE(c.name);
        IPtr<IInputParameters> inputs = Make<IInputParameters>(L"InputParameters");
        ASSERT_EQ(inputs->AddInput(Str(L"Source").Get(), c.iid), S_OK);
        IPtr<IInputParameter> input = InputAt(inputs.Get(), 0);
        ASSERT_TRUE(input);
        IID declared = IID_NULL;
        ASSERT_EQ(input->get_Interface(&declared), S_OK);
        EXPECT_EQ(declared, c.iid ? *c.iid : IID_NULL);
        input->put_SourceComponent(Str(L"Source").Get());
        input->put_SourceParameter(Str(L"Port").Get());
        input->put_SourceParameter(nullptr); // cleared: the component itself again
        Bind(input.Get(), m_workspace.Get());
        IPtr<IUnknown> value;
        EXPECT_EQ(inputs->get_InputValue(0, value.Out()), c.expected);
        EXPECT_EQ(static_cast<bool>(value), c.expected == S_OK);
        if (value) {
            IPtr<IParameters> asParameters = value.Query<IParameters>();
            EXPECT_EQ(asParameters.Get(), static_cast<IParameters*>(m_source.Get())) << "the source itself";
        }
    }
}

TEST_F(InputBindingTest, InputValueIsAskedForTheDeclaredInterfaceThroughTheVariant) {
    IPtr<IInputParameters> inputs = Make<IInputParameters>(L"InputParameters");
    inputs->AddInput(Str(L"HostName").Get(), &IID_IString);
    inputs->AddInput(Str(L"PortText").Get(), &IID_IString);
    const wchar_t* parameters[] = {L"Host", L"Port"};
    for (int32_t i = 0; i < 2; ++i) {
        IPtr<IInputParameter> input = InputAt(inputs.Get(), i);
        input->put_SourceComponent(Str(L"Source").Get());
        input->put_SourceParameter(Str(parameters[i]).Get());
        Bind(input.Get(), m_workspace.Get());
    }
    IPtr<IUnknown> value;
    ASSERT_EQ(inputs->get_InputValue(0, value.Out()), S_OK);
    EXPECT_EQ(TextOf(value.Get()), L"example");
    EXPECT_TRUE(value.Query<IString>());
    EXPECT_EQ(inputs->get_InputValue(1, value.Out()), E_FAIL) << "a number is no string";
    EXPECT_EQ(inputs->get_InputValue(2, value.Out()), E_INVALIDARG);
}

TEST_F(InputBindingTest, InputsReadingEachOtherInARingFailInsteadOfRecursing) {
    IPtr<IParametersCreatable> a = NewParameters(), b = NewParameters();
    IPtr<IInputParameter> toB = NewInput(L"B", L"X"), toA = NewInput(L"A", L"X");
    a->Add(Str(L"X").Get(), Int(1).Get(), toB.Get(), 0);
    b->Add(Str(L"X").Get(), Int(2).Get(), toA.Get(), 0);
    m_workspace->Add(Str(L"A").Get(), a.Get(), nullptr, 0);
    m_workspace->Add(Str(L"B").Get(), b.Get(), nullptr, 0);
    Bind(toB.Get(), m_workspace.Get());
    Bind(toA.Get(), m_workspace.Get());
    IPtr<IVariant> value;
    EXPECT_EQ(a->get_ItemVariant(0, value.Out()), S_OK) << "the innermost read falls back to an own value";
    EXPECT_TRUE(value->IsNumber());
}

TEST(InputParametersTest, CollectionOfInputsFollowsTheLookupRules) {
    IPtr<IInputParameters> inputs = Make<IInputParameters>(L"InputParameters");
    inputs->AddInput(Str(L"Display").Get(), &IID_IUILineDisplayable);
    inputs->AddInput(Str(L"Source").Get(), nullptr);
    inputs->AddInput(Str(L"display").Get(), nullptr);
    EXPECT_EQ(Names(inputs.Get()), (std::vector<std::wstring>{L"Display", L"Source", L"display"}));
    int32_t index = -1;
    EXPECT_EQ(inputs->get_Index(Str(L"DISPLAY").Get(), &index), S_OK);
    EXPECT_EQ(index, 0) << "the first of two";
    EXPECT_EQ(inputs->get_Index(Int(12).Get(), &index), S_OK);
    EXPECT_EQ(index, 12);
    IPtr<IUnknown> second;
    inputs->get_Item(1, second.Out());
    EXPECT_EQ(inputs->get_Index(second.Get(), &index), S_OK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(inputs->get_Index(Str(L"").Get(), &index), E_FAIL);
    EXPECT_EQ(index, -1);

    ASSERT_EQ(inputs->Rename(2, Str(L"Other").Get()), S_OK);
    IPtr<IString> name;
    InputAt(inputs.Get(), 2)->get_Name(name.Out());
    EXPECT_EQ(host::ToWide(name.Get()), L"Other") << "renaming renames the input";
    EXPECT_EQ(inputs->get_Item(3, second.Out()), E_INVALIDARG);
}

} // namespace

namespace {

class ActiveWorkspaceTest : public ::testing::Test {
protected:
    void TearDown() override {
        host::SetWorkspaceRefreshHandler({});
        host::CloseWorkspace();
    }
    static std::wstring Filename(IFileArchive* archive) {
        IPtr<IString> name;
        EXPECT_EQ(archive->get_Filename(name.Out()), S_OK);
        return host::ToWide(name.Get());
    }
};

TEST_F(ActiveWorkspaceTest, EveryInstanceSeesTheSameFileName) {
    IPtr<IFileArchive> first = Make<IFileArchive>(L"ActiveWorkspace");
    IPtr<IFileArchive> second = Make<IFileArchive>(L"ActiveWorkspace");
    EXPECT_EQ(Filename(second.Get()), L"") << "no workspace open";
    ASSERT_EQ(first->put_Filename(Str(L"/home/u/work/Project.sws").Get()), S_OK);
    EXPECT_EQ(Filename(second.Get()), L"/home/u/work/Project.sws");
    IPtr<IString> name;
    ASSERT_EQ(second->get_Name(name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), L"Project");
    host::CloseWorkspace();
    EXPECT_EQ(Filename(first.Get()), L"");
}

TEST_F(ActiveWorkspaceTest, ComponentsAreOneCollectionThatInputsBindTo) {
    IPtr<IWorkspace> workspace = Make<IWorkspace>(L"ActiveWorkspace");
    IPtr<INamedCollection> components;
    ASSERT_EQ(workspace->get_Components(components.Out()), S_OK);
    IPtr<ISuperCollection> fillable = components.Query<ISuperCollection>();
    ASSERT_TRUE(fillable) << "the host fills it";
    IPtr<IParametersCreatable> source = NewParameters();
    source->Add(Str(L"Port").Get(), Int(21).Get(), nullptr, 0);
    fillable->Add(Str(L"Server").Get(), source.Get(), nullptr, 0);

    IPtr<INamedCollection> again;
    Make<IWorkspace>(L"ActiveWorkspace")->get_Components(again.Out());
    EXPECT_EQ(Names(again.Get()), std::vector<std::wstring>{L"Server"}) << "shared by every instance";

    IPtr<IInputParameter> input = NewInput(L"Server", L"Port");
    ASSERT_EQ(Bind(input.Get(), again.Get()), S_OK);
    EXPECT_EQ(ValueOf(input.Get()), 21);

    host::CloseWorkspace();
    IPtr<IUnknown> value;
    EXPECT_EQ(input->get_Value(value.Out()), E_FAIL) << "a closed workspace has no components";
}

TEST_F(ActiveWorkspaceTest, RefreshReachesTheHostsHandler) {
    std::vector<int32_t> seen;
    host::SetWorkspaceRefreshHandler([&](int32_t what) { seen.push_back(what); });
    IPtr<IUIRefreshableObject> refreshable = Make<IUIRefreshableObject>(L"ActiveWorkspace");
    EXPECT_EQ(refreshable->Refresh(1), S_OK);
    EXPECT_EQ(refreshable->Refresh(7), S_OK);
    host::SetWorkspaceRefreshHandler({});
    EXPECT_EQ(refreshable->Refresh(2), S_OK);
    EXPECT_EQ(seen, (std::vector<int32_t>{1, 7}));
}

} // namespace
