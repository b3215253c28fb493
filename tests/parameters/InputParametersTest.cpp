// Inputs: binding to a workspace, reading text parameters, saving and
// loading parameters with their inputs, and replicating components.
#include "ParamTestSupport.h"

using namespace paramtest;

namespace {

IPtr<IInputParameter> NewInput(const wchar_t* component, const wchar_t* parameter) {
    IPtr<IInputParameter> input = CreateHostObject<IInputParameter>(L"InputParameter");
    EXPECT_TRUE(input);
    if (input) {
        input->put_SourceComponent(Str(component).Get());
        if (parameter) input->put_SourceParameter(Str(parameter).Get());
    }
    return input;
}

IPtr<IInputParameter> InputOf(IUnknown* component, int32_t index) {
    IPtr<IInputParameters> inputs = QueryAs<IInputParameters>(component);
    IPtr<IUnknown> entry;
    if (!inputs || FAILED(inputs->get_Item(index, entry.Out()))) return {};
    return entry.Query<IInputParameter>();
}

// The four properties of an input in one text.
std::wstring Describe(IInputParameter* input) {
    if (!input) return L"<no input>";
    IPtr<IString> name, component, parameter;
    IID iid = IID_NULL;
    input->get_Name(name.Out());
    input->get_Interface(&iid);
    input->get_SourceComponent(component.Out());
    input->get_SourceParameter(parameter.Out());
    return W(name) + L"|" + (iid == IID_NULL ? L"-" : (iid == IID_IVariant ? L"IVariant" : L"?")) + L"|" +
           W(component) + L"|" + W(parameter);
}

IPtr<INamedCollection> Workspace(std::initializer_list<std::pair<const wchar_t*, IUnknown*>> components) {
    IPtr<ISuperCollection> workspace = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
    for (const auto& [name, component] : components) workspace->Add(Str(name).Get(), component, nullptr, 0);
    return IPtr<INamedCollection>(workspace.Get());
}

} // namespace

TEST(InputParameters, BoundParameterReadsTheSourceLive) {
    auto source = Make<CDeclaredParams, IParameters>(IID_IParameters);
    auto target = MakeBare({{L"Port", Int(7).Get(), NewInput(L"Src", L"SrcPort").Get(), 3}});
    EXPECT_EQ(ValueAt(target.Get(), 0), L"7"); // unbound: the stored value

    IPtr<INamedCollection> workspace = Workspace({{L"Src", source.Get()}});
    IPtr<IBindableObject> bindable = target.Query<IBindableObject>();
    ASSERT_TRUE(bindable);
    ASSERT_EQ(bindable->Bind(workspace.Get(), nullptr), S_OK);
    EXPECT_EQ(ValueAt(target.Get(), 0), L"21");
    source->put_Item(1, Int(30).Get());
    EXPECT_EQ(ValueAt(target.Get(), 0), L"30");

    IPtr<IUnknown> value;
    EXPECT_EQ(Core(target.Get()).getParameter(Core(target.Get()).ParameterAt(0), value.Out()), S_FALSE);
    EXPECT_EQ(target->Get(Str(L"Port").Get(), value.Out(), nullptr, nullptr, 0), 0);
    EXPECT_EQ(VariantText(value.Query<IVariant>().Get()), L"7"); // mode 0: the stored value
    EXPECT_EQ(target->Get(Str(L"Port").Get(), value.Out(), nullptr, nullptr, 1), 0);
    EXPECT_EQ(VariantText(value.Query<IVariant>().Get()), L"30");
    // Binding again simply rebinds.
    EXPECT_EQ(bindable->Bind(workspace.Get(), nullptr), S_OK);
    EXPECT_EQ(ValueAt(target.Get(), 0), L"30");
}

TEST(InputParameters, DeclaredInputYieldsTheBoundComponent) {
    auto source = Make<CDeclaredParams, IParameters>(IID_IParameters);
    auto target = MakeBare();
    auto& component = static_cast<CBareParams&>(Core(target.Get()));
    ASSERT_TRUE(component.GetInputParameters());
    ASSERT_EQ(component.DeclareInput(L"Source", IID_IParameters), S_OK);
    EXPECT_FALSE(component.InputValue(0));
    IPtr<IInputParameter> input = InputOf(target.Get(), 0);
    ASSERT_TRUE(input);
    input->put_SourceComponent(Str(L"Src").Get());

    IPtr<INamedCollection> workspace = Workspace({{L"Src", source.Get()}});
    ASSERT_EQ(target.Query<IBindableObject>()->Bind(workspace.Get(), nullptr), S_OK);
    IPtr<IUnknown> value = component.InputValue(0);
    EXPECT_TRUE(params::SameObject(value.Get(), source.Get()));
    // The component hands IID_IInputParameters on to the inputs object.
    IPtr<IInputParameters> inputs = target.Query<IInputParameters>();
    EXPECT_EQ(static_cast<IUnknown*>(inputs.Get()), static_cast<IUnknown*>(component.GetInputParameters()));
}

TEST(InputParameters, BindingSkipsWhatIsMissing) {
    auto target = MakeBare({
        {L"Plain", Int(1).Get(), Str(L"A|B").Get(), 0x43},
        {L"Dangling", Int(2).Get(), NewInput(L"Nobody", L"X").Get()},
    });
    IPtr<INamedCollection> workspace = Workspace({});
    EXPECT_EQ(ParameterBindParameterDescriptors(target.Get(), workspace.Get()), S_OK);
    EXPECT_EQ(ParameterBindParameterDescriptors(Int(1).Get(), workspace.Get()), S_OK);
    EXPECT_EQ(ParameterBindInputs(nullptr, workspace.Get()), S_OK);
    EXPECT_EQ(Items(target.Get()), (std::vector<std::wstring>{L"Plain=1", L"Dangling=2"}));
}

TEST(InputParameters, PARAMStringCases) {
    auto params = MakeBare({{L"empty", Text(L"").Get()}, {L"text", Text(L"abc").Get()}, {L"number", Int(5).Get()}});
    struct Case {
        IPtr<IUnknown> key;
        bool nonEmpty;
        HRESULT status;
        const wchar_t* text; // null: no string returned
    } cases[] = {
        {IPtr<IUnknown>(Str(L"empty").Get()), true, E_FAIL, nullptr},
        {IPtr<IUnknown>(Str(L"EMPTY").Get()), false, S_OK, L""},
        {IPtr<IUnknown>(Str(L"text").Get()), true, S_OK, L"abc"},
        {IPtr<IUnknown>(Int(1).Get()), true, S_OK, L"abc"},
        {IPtr<IUnknown>(Str(L"number").Get()), false, E_FAIL, nullptr}, // a number is no text
        {IPtr<IUnknown>(Str(L"missing").Get()), false, E_FAIL, nullptr},
        {IPtr<IUnknown>(Int(9).Get()), false, E_FAIL, nullptr},
    };
    for (const Case& c : cases) {
        IString* text = reinterpret_cast<IString*>(0x1);
        EXPECT_EQ(PARAMString(params.Get(), c.key.Get(), &text, c.nonEmpty), c.status);
        IPtr<IString> owned = IPtr<IString>::Adopt(text);
        if (c.text) {
            ASSERT_TRUE(owned);
            EXPECT_EQ(W(owned), c.text);
        } else {
            EXPECT_FALSE(owned);
        }
    }
    IString* text = nullptr;
    EXPECT_EQ(PARAMString(Int(1).Get(), Str(L"text").Get(), &text, false), E_INVALIDARG);
    EXPECT_EQ(PARAMString(nullptr, Str(L"text").Get(), &text, false), E_INVALIDARG);
}

TEST(InputParameters, GetComponentStringLooksUpHostComponents) {
    IPtr<IComponentString> known = IPtr<IComponentString>::Adopt(GetComponentString(Str(L"Variant").Get()));
    ASSERT_TRUE(known);
    IPtr<IVariant> made;
    EXPECT_EQ(known->CreateInstance(&IID_IVariant, made.OutVoid()), S_OK);
    EXPECT_TRUE(made);
    EXPECT_EQ(GetComponentString(Str(L"NoSuchComponent").Get()), nullptr);
    EXPECT_EQ(GetComponentString(nullptr), nullptr);
}

TEST(InputParameters, ReplicateMakesAnIndependentCopy) {
    auto original = Make<CDeclaredParams, IParameters>(IID_IParameters);
    original->put_Item(1, Int(99).Get());
    IPtr<IInputParameter> bound = NewInput(L"Other", L"Action");
    bound->put_Name(Str(L"RunIn").Get());
    bound->put_Interface(&IID_IVariant);
    original->put_ItemDescriptor(2, bound.Get());
    InputOf(original.Get(), 0)->put_SourceComponent(Str(L"Display").Get());

    IPtr<IUnknown> made;
    ASSERT_EQ(original.Query<IReplicableObject>()->Replicate(made.Out()), S_OK);
    IPtr<IParameters> copy = made.Query<IParameters>();
    ASSERT_TRUE(copy);
    EXPECT_NE(static_cast<IUnknown*>(copy.Get()), static_cast<IUnknown*>(original.Get()));
    EXPECT_EQ(Items(copy.Get()), (std::vector<std::wstring>{L"SourceRoot=/src", L"SrcPort=99", L"RunAction=0"}));

    IPtr<IUnknown> descriptor;
    copy->get_ItemDescriptor(2, descriptor.Out());
    IPtr<IInputParameter> copied = descriptor.Query<IInputParameter>();
    ASSERT_TRUE(copied);
    EXPECT_NE(copied.Get(), bound.Get());
    EXPECT_EQ(Describe(copied.Get()), L"RunIn|IVariant|Other|Action");
    EXPECT_EQ(Describe(InputOf(copy.Get(), 0).Get()), L"UILineDisplayable|?|Display|");

    // Changing the original changes nothing in the copy.
    bound->put_SourceComponent(Str(L"Changed").Get());
    InputOf(original.Get(), 0)->put_SourceComponent(Str(L"Elsewhere").Get());
    IPtr<IVariant> value;
    original->get_ItemVariant(1, value.Out());
    value->put_Integer(5);
    EXPECT_EQ(Describe(copied.Get()), L"RunIn|IVariant|Other|Action");
    EXPECT_EQ(Describe(InputOf(copy.Get(), 0).Get()), L"UILineDisplayable|?|Display|");
    EXPECT_EQ(ValueAt(copy.Get(), 1), L"99");
    EXPECT_EQ(ValueAt(original.Get(), 1), L"5");
}

TEST(InputParameters, ReplicateAddsItemsTheNewInstanceLacks) {
    auto original = MakeBare({{L"a", Int(1).Get(), nullptr, 3}, {L"b", Text(L"x").Get(), Str(L"x|y").Get(), 0x43}});
    IPtr<IUnknown> made;
    ASSERT_EQ(original.Query<IReplicableObject>()->Replicate(made.Out()), S_OK);
    IPtr<IParameters> copy = made.Query<IParameters>();
    ASSERT_TRUE(copy);
    EXPECT_EQ(Items(copy.Get()), (std::vector<std::wstring>{L"a=1", L"b=x"}));
    EXPECT_EQ(FlagsAt(copy.Get(), 0), 3);
    EXPECT_EQ(FlagsAt(copy.Get(), 1), 0x43);
    EXPECT_EQ(original.Query<IReplicableObject>()->Replicate(nullptr), E_POINTER);
}

TEST(InputParameters, SaveToXMLWritesCompactParametersOnly) {
    auto params = Make<CDeclaredParams, IParameters>(IID_IParameters);
    InputOf(params.Get(), 0)->put_SourceComponent(Str(L"Display").Get());
    IPtr<IDataPersist> persist = params.Query<IDataPersist>();
    for (int32_t options : {0, 0x10000, 0x0FFFFFFF}) {
        IPtr<IDataStream> stream = NewStream(L"XMLStream");
        ASSERT_EQ(persist->Save(stream.Get(), options), S_OK);
        EXPECT_EQ(Squeezed(stream.Get()), "<?xml version=\"1.0\"?><Document><SourceRoot>/src</SourceRoot>"
                                          "<SrcPort>21</SrcPort><RunAction>0</RunAction></Document>")
            << options;
    }
}

TEST(InputParameters, FolderRoundTripKeepsParametersAndInputs) {
    TestRegistry::Write("");
    for (bool sectioned : {false, true}) {
        auto saved = Make<CDeclaredParams, IParameters>(IID_IParameters);
        Declared(saved.Get()).SetSectioned(sectioned);
        saved->put_Item(0, Text(L"/data").Get());
        saved->put_Item(2, Int(2).Get());
        InputOf(saved.Get(), 0)->put_SourceComponent(Str(L"Display").Get());
        IPtr<IDataStream> stream = NewStream(L"FolderStream");
        ASSERT_EQ(saved.Query<IDataPersist>()->Save(stream.Get(), 0), S_OK);
        const std::string text = Bytes(stream.Get());
        EXPECT_EQ(text.find("folder \"Parameters\" {") != std::string::npos, sectioned) << text;
        EXPECT_EQ(text.find("folder \"Inputs\" {") != std::string::npos, sectioned) << text;

        auto loaded = Make<CDeclaredParams, IParameters>(IID_IParameters);
        Declared(loaded.Get()).SetSectioned(sectioned);
        IPtr<IDataStream> reread = StreamOf(L"FolderStream", text);
        ASSERT_EQ(loaded.Query<IDataPersist>()->Load(reread.Get(), 0), S_OK);
        EXPECT_EQ(Items(loaded.Get()),
                  (std::vector<std::wstring>{L"SourceRoot=/data", L"SrcPort=21", L"RunAction=2"}))
            << text;
        EXPECT_EQ(Describe(InputOf(loaded.Get(), 0).Get()), L"UILineDisplayable|?|Display|") << text;
    }
}

TEST(InputParameters, SectionedLoadWithoutParametersKeepsThem) {
    auto params = Make<CDeclaredParams, IParameters>(IID_IParameters);
    Declared(params.Get()).SetSectioned(true);
    IPtr<IDataStream> stream = StreamOf(L"FolderStream", "FolderStream 1\nint \"SrcPort\" 5\n");
    ASSERT_EQ(params.Query<IDataPersist>()->Load(stream.Get(), 0), S_OK);
    EXPECT_EQ(Items(params.Get()),
              (std::vector<std::wstring>{L"SourceRoot=/src", L"SrcPort=21", L"RunAction=0"}));
}

TEST(InputParameters, LoadFromXMLAndUnsupportedStreams) {
    auto params = Make<CDeclaredParams, IParameters>(IID_IParameters);
    IPtr<IDataPersist> persist = params.Query<IDataPersist>();
    IPtr<IDataStream> xml = StreamOf(L"XMLStream", "<Document><srcport>5</srcport></Document>");
    ASSERT_EQ(persist->Load(xml.Get(), 0), S_OK);
    EXPECT_EQ(ValueAt(params.Get(), 1), L"5");

    Declared(params.Get()).SetSectioned(true);
    xml = StreamOf(L"XMLStream", "<Document><Only>1</Only></Document>");
    ASSERT_EQ(persist->Load(xml.Get(), 0), S_OK);
    EXPECT_EQ(Items(params.Get()), std::vector<std::wstring>{L"Only=1"}); // sectioned XML replaces

    IPtr<IDataStream> csv = NewStream(L"CSVStream");
    EXPECT_EQ(persist->Load(csv.Get(), 0), E_NOTIMPL);
    EXPECT_EQ(persist->Save(csv.Get(), 0), S_OK);
    EXPECT_EQ(Bytes(csv.Get()), "");
}
