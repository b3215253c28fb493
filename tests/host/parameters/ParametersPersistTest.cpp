#include "support/HostTestSupport.h"
#include "host/streams/StreamNesting.h"

namespace {

using namespace hosttest;

int32_t FlagsAt(IParameters* parameters, int32_t index) {
    int32_t flags = -1;
    parameters->get_ItemFlags(index, &flags);
    return flags;
}

// Port = 21 (plain), Mode = 1 with a choice list and flags 0x43, Name =
// "a b" with flags 6, Ratio = 2.5, Nested = 5 whose descriptor is a nested
// collection holding Inner = 7.
IPtr<IParametersCreatable> Sample() {
    IPtr<IParametersCreatable> p = NewParameters();
    IPtr<IParametersCreatable> nested = NewParameters();
    nested->Add(Str(L"Inner").Get(), Int(7).Get(), nullptr, 0);
    p->Add(Str(L"Port").Get(), Int(21).Get(), nullptr, 0);
    p->Add(Str(L"Mode").Get(), Int(1).Get(), Str(L"Off|On").Get(), 0x43);
    p->Add(Str(L"Name").Get(), Str(L"a b").Get(), nullptr, 6);
    p->Add(Str(L"Ratio").Get(), Real(2.5).Get(), nullptr, 0);
    p->Add(Str(L"Nested").Get(), Int(5).Get(), nested.Get(), 0);
    return p;
}

// The same names with other values and no flags or descriptors.
IPtr<IParametersCreatable> Blank() {
    IPtr<IParametersCreatable> p = NewParameters();
    for (const wchar_t* name : {L"nested", L"Port", L"Mode", L"Name", L"Ratio", L"Untouched"})
        p->Add(Str(name).Get(), Int(0).Get(), nullptr, 0);
    return p;
}

int32_t NestedInner(IParameters* parameters, int32_t index) {
    IPtr<IUnknown> descriptor;
    if (FAILED(parameters->get_ItemDescriptor(index, descriptor.Out()))) return -1;
    IPtr<IParameters> nested = descriptor.Query<IParameters>();
    return nested ? IntAt(nested.Get(), 0) : -2;
}

// How many collections deep the descriptors of the first items go.
int DescriptorDepth(IParameters* parameters) {
    int depth = 0;
    IPtr<IParameters> current(parameters);
    IPtr<IUnknown> descriptor;
    while (SUCCEEDED(current->get_ItemDescriptor(0, descriptor.Out()))) {
        current = descriptor.Query<IParameters>();
        if (!current) break;
        ++depth;
    }
    return depth;
}

class ParametersPersistTest : public ::testing::TestWithParam<const wchar_t*> {
protected:
    bool IsXML() const { return std::wstring(GetParam()) == L"XMLStream"; }
};

TEST_P(ParametersPersistTest, MatchingLoadSetsTheItemsOfTheSameName) {
    IPtr<IParametersCreatable> saved = Sample();
    IPtr<IDataStream> stream = Make<IDataStream>(GetParam());
    ASSERT_EQ(saved.Query<IDataPersist>()->Save(stream.Get(), 0), S_OK);

    IPtr<IParametersCreatable> loaded = Blank();
    ASSERT_EQ(loaded.Query<IDataPersist>()->Load(Reparsed(GetParam(), stream.Get()).Get(), 0), S_OK)
        << Content(stream.Get());
    EXPECT_EQ(Names(loaded.Get()),
              (std::vector<std::wstring>{L"nested", L"Port", L"Mode", L"Name", L"Ratio", L"Untouched"}))
        << "nothing appended";
    EXPECT_EQ(IntAt(loaded.Get(), 0), 5);
    EXPECT_EQ(NestedInner(loaded.Get(), 0), 7) << "the nested collection saved and made itself again";
    EXPECT_EQ(IntAt(loaded.Get(), 1), 21);
    EXPECT_EQ(IntAt(loaded.Get(), 2), 1);
    IPtr<IVariant> value;
    loaded->get_ItemVariant(3, value.Out());
    EXPECT_EQ(TextOf(value.Get()), L"a b");
    double ratio = 0;
    loaded->get_ItemVariant(4, value.Out());
    value->get_Double(&ratio);
    EXPECT_EQ(ratio, 2.5);
    EXPECT_EQ(IntAt(loaded.Get(), 5), 0) << "an item the stream does not name keeps its value";
    // Flags come back from XML only; a folder load leaves them as they are.
    EXPECT_EQ(FlagsAt(loaded.Get(), 2), IsXML() ? 0x43 : 0);
    EXPECT_EQ(FlagsAt(loaded.Get(), 3), IsXML() ? 6 : 0);
}

TEST_P(ParametersPersistTest, ClearAndAppendRebuildsTheCollection) {
    IPtr<IParametersCreatable> saved = Sample();
    IPtr<IDataStream> stream = Make<IDataStream>(GetParam());
    ASSERT_EQ(saved.Query<IDataPersist>()->Save(stream.Get(), 0), S_OK);
    IPtr<IParametersCreatable> loaded = Blank();
    ASSERT_EQ(loaded.Query<IDataPersist>()->Load(Reparsed(GetParam(), stream.Get()).Get(), 0x01000000),
              S_OK);
    EXPECT_EQ(Names(loaded.Get()), Names(saved.Get()));
    for (int32_t i = 0; i < 5; ++i) EXPECT_EQ(FlagsAt(loaded.Get(), i), FlagsAt(saved.Get(), i)) << i;
    EXPECT_EQ(IntAt(loaded.Get(), 1), 1);
    IPtr<IUnknown> choices;
    ASSERT_EQ(loaded->get_ItemDescriptor(1, choices.Out()), S_OK);
    EXPECT_EQ(TextOf(choices.Get()), L"Off|On") << "a choice list comes back as a string";
    EXPECT_EQ(NestedInner(loaded.Get(), 4), 7);
}

// Saving recurses into the descriptor: the stream's nesting limit ends it.
TEST_P(ParametersPersistTest, ACollectionHoldingItselfSavesNoDeeperThanTheLimit) {
    IPtr<IParametersCreatable> looped = NewParameters();
    looped->Add(Str(L"P").Get(), Int(1).Get(), looped.Get(), 0);
    IPtr<IDataStream> stream = Make<IDataStream>(GetParam());
    EXPECT_EQ(looped.Query<IDataPersist>()->Save(stream.Get(), 0), E_FAIL);
    looped->put_ItemDescriptor(0, nullptr); // ends the cycle of references
    EXPECT_NE(ErrorText(stream.Get()).find("nested too deep (more than 64 levels)"), std::string::npos)
        << ErrorText(stream.Get());
    // XML keeps what was written, two levels a collection (its item and its
    // object); a folder stream writes no object that failed to save itself.
    IPtr<IParametersCreatable> loaded = NewParameters();
    ASSERT_EQ(loaded.Query<IDataPersist>()->Load(Reparsed(GetParam(), stream.Get()).Get(), 0), S_OK);
    EXPECT_EQ(DescriptorDepth(loaded.Get()), IsXML() ? host::kMaxStreamNesting / 2 : 0);
}

INSTANTIATE_TEST_SUITE_P(Streams, ParametersPersistTest, ::testing::Values(L"XMLStream", L"FolderStream"),
                         [](const auto& info) { return host::ToUtf8(info.param); });

TEST(ParametersPersist, XMLUsesTheLeafFormOnlyForPlainItems) {
    IPtr<IParametersCreatable> saved = Sample();
    IPtr<IDataStream> stream = Make<IDataStream>(L"XMLStream");
    ASSERT_EQ(saved.Query<IDataPersist>()->Save(stream.Get(), 0), S_OK);
    const std::string text = Content(stream.Get());
    for (const char* expected : {"<Port>21</Port>", "<Ratio>2.5</Ratio>", "<Flags>#000043</Flags>",
                                 "<Value>a b</Value>", "<Flags>#000006</Flags>", "Component=\"ParametersCreatable\""})
        EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n" << text;
}

TEST(ParametersPersist, LoadingAnElementOfAnUnknownNameAddsNothing) {
    IPtr<IDataStream> stream = Make<IDataStream>(L"XMLStream");
    ASSERT_EQ(WriteBytes(stream.Get(), "<Document><srcport>22</srcport><Nobody>1</Nobody>"
                                                   "<Mode><value>3</value><FLAGS>#000041</FLAGS></Mode></Document>"),
              S_OK);
    IPtr<IParametersCreatable> loaded = NewParameters();
    loaded->Add(Str(L"SrcPort").Get(), Int(21).Get(), nullptr, 0);
    loaded->Add(Str(L"Mode").Get(), Int(0).Get(), nullptr, 0x43);
    ASSERT_EQ(loaded.Query<IDataPersist>()->Load(stream.Get(), 0), S_OK);
    EXPECT_EQ(Names(loaded.Get()), (std::vector<std::wstring>{L"SrcPort", L"Mode"}));
    EXPECT_EQ(IntAt(loaded.Get(), 0), 22);
    EXPECT_EQ(IntAt(loaded.Get(), 1), 3);
    EXPECT_EQ(FlagsAt(loaded.Get(), 1), 0x41);
}

// A file whose item "P" holds a collection whose item "P" holds ...,
// `objects` collections deep, two elements a level (the item and its object).
TEST(ParametersPersist, XMLFilesOfObjectsNestedTooDeepAreRefused) {
    TempDir dir;
    const std::string path = dir.File("nested.xml");
    for (const int objects : {host::kMaxStreamNesting / 2, host::kMaxStreamNesting / 2 + 1, 100000}) {
        SCOPED_TRACE(objects);
        std::string text = "<Document>";
        for (int i = 0; i < objects; ++i) text += "<P><Value>1</Value><Object Component=\"ParametersCreatable\">";
        for (int i = 0; i < objects; ++i) text += "</Object></P>";
        WriteFile(path, text + "</Document>");
        IPtr<IDataStream> stream = Make<IDataStream>(L"XMLStream");
        SetFilename(stream.Get(), path);
        const bool fits = objects * 2 <= host::kMaxStreamNesting;
        EXPECT_EQ(stream.Query<IFileArchive>()->Load(), fits ? S_OK : E_FAIL);
        IPtr<IParametersCreatable> loaded = NewParameters();
        ASSERT_EQ(loaded.Query<IDataPersist>()->Load(stream.Get(), 0), S_OK);
        if (fits) {
            EXPECT_EQ(DescriptorDepth(loaded.Get()), objects);
        } else {
            EXPECT_NE(ErrorText(stream.Get()).find("nested.xml: line 1, column "), std::string::npos);
            EXPECT_NE(ErrorText(stream.Get()).find("elements are nested too deep"), std::string::npos)
                << ErrorText(stream.Get());
            EXPECT_EQ(Names(loaded.Get()), std::vector<std::wstring>{});
        }
    }
}

struct InputState {
    std::wstring name;
    IID iid;
    std::wstring component, parameter;
    bool operator==(const InputState&) const = default;
};

std::vector<InputState> States(IInputParameters* inputs) {
    std::vector<InputState> states;
    int32_t count = 0;
    inputs->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IUnknown> entry;
        inputs->get_Item(i, entry.Out());
        IPtr<IInputParameter> input = entry.Query<IInputParameter>();
        InputState state{};
        IPtr<IString> text;
        input->get_Name(text.Out());
        state.name = host::ToWide(text.Get());
        input->get_Interface(&state.iid);
        input->get_SourceComponent(text.Out());
        state.component = host::ToWide(text.Get());
        input->get_SourceParameter(text.Out());
        state.parameter = host::ToWide(text.Get());
        states.push_back(state);
    }
    return states;
}

IPtr<IInputParameters> Declare(const std::vector<std::pair<std::wstring, const IID*>>& declared) {
    IPtr<IInputParameters> inputs = Make<IInputParameters>(L"InputParameters");
    for (const auto& [name, iid] : declared) inputs->AddInput(Str(name).Get(), iid);
    return inputs;
}

void Source(IInputParameters* inputs, int32_t index, const std::wstring& component, const std::wstring& parameter) {
    IPtr<IUnknown> entry;
    inputs->get_Item(index, entry.Out());
    IPtr<IInputParameter> input = entry.Query<IInputParameter>();
    input->put_SourceComponent(Str(component).Get());
    input->put_SourceParameter(Str(parameter).Get());
}

class InputsPersistTest : public ::testing::TestWithParam<const wchar_t*> {};

TEST_P(InputsPersistTest, SourcesRoundTripByInputName) {
    IPtr<IInputParameters> saved =
        Declare({{L"UILineDisplayable", &IID_IUILineDisplayable}, {L"Port", nullptr}, {L"Unbound", nullptr}});
    Source(saved.Get(), 0, L"Console", L"");
    Source(saved.Get(), 1, L"Server", L"SrcPort");
    IPtr<IDataStream> stream = Make<IDataStream>(GetParam());
    ASSERT_EQ(QueryAs<IDataPersist>(saved.Get())->Save(stream.Get(), 0x800000), S_OK);
    const std::string text = Content(stream.Get());
    EXPECT_NE(text.find("Console"), std::string::npos) << text;
    EXPECT_NE(text.find("SrcPort"), std::string::npos) << text;

    // Matching: the inputs the component declares, in another order, take
    // their sources; an input the stream does not know stays unbound and
    // the declared interfaces stay as declared.
    IPtr<IInputParameters> loaded =
        Declare({{L"port", nullptr}, {L"Extra", &IID_IStep}, {L"UILINEDISPLAYABLE", &IID_IUILineDisplayable}});
    Source(loaded.Get(), 1, L"Keep", L"Me");
    ASSERT_EQ(QueryAs<IDataPersist>(loaded.Get())->Load(Reparsed(GetParam(), stream.Get()).Get(), 0),
              S_OK);
    const std::vector<InputState> matched = {{L"port", IID_NULL, L"Server", L"SrcPort"},
                                             {L"Extra", IID_IStep, L"Keep", L"Me"},
                                             {L"UILINEDISPLAYABLE", IID_IUILineDisplayable, L"Console", L""}};
    EXPECT_EQ(States(loaded.Get()), matched);

    // Clear and append: the inputs are made again from the stream, with the
    // interfaces that were saved.
    IPtr<IInputParameters> rebuilt = Declare({{L"Gone", nullptr}});
    ASSERT_EQ(QueryAs<IDataPersist>(rebuilt.Get())
                  ->Load(Reparsed(GetParam(), stream.Get()).Get(), 0x01000000),
              S_OK);
    EXPECT_EQ(States(rebuilt.Get()), States(saved.Get()));
}

INSTANTIATE_TEST_SUITE_P(Streams, InputsPersistTest, ::testing::Values(L"XMLStream", L"FolderStream"),
                         [](const auto& info) { return host::ToUtf8(info.param); });

TEST(InputsPersist, OtherEntriesOfASharedFolderAreNotTakenForInputs) {
    IPtr<IFolderStream> folder = Make<IFolderStream>(L"FolderStream");
    IPtr<IFolderStream> parameter;
    ASSERT_EQ(folder->OpenFolder(REFLiteral(L"Mode"), 1, parameter.Out()), S_OK);
    parameter->WriteValue(REFLiteral(L"Value"), Int(1).Get());
    folder->WriteValue(REFLiteral(L"Port"), Int(21).Get());
    IPtr<IInputParameters> saved = Declare({{L"Display", nullptr}});
    Source(saved.Get(), 0, L"Console", L"");
    IPtr<IDataStream> stream = folder.Query<IDataStream>();
    ASSERT_EQ(QueryAs<IDataPersist>(saved.Get())->Save(stream.Get(), 0), S_OK);

    IPtr<IInputParameters> rebuilt = Declare({});
    ASSERT_EQ(QueryAs<IDataPersist>(rebuilt.Get())->Load(stream.Get(), 0x01000000), S_OK);
    EXPECT_EQ(Names(rebuilt.Get()), std::vector<std::wstring>{L"Display"});
}

TEST(InputsPersist, StreamsWithoutXMLOrFolderFaceAreRefused) {
    IPtr<IInputParameters> inputs = Declare({{L"A", nullptr}});
    IPtr<IDataPersist> persist = inputs.Query<IDataPersist>();
    IPtr<IDataStream> plain = Make<IDataStream>(L"DataStream");
    EXPECT_EQ(persist->Save(plain.Get(), 0), E_NOTIMPL);
    EXPECT_EQ(persist->Load(plain.Get(), 0), E_NOTIMPL);
    EXPECT_EQ(persist->Save(nullptr, 0), E_POINTER);
    EXPECT_EQ(Names(inputs.Get()), std::vector<std::wstring>{L"A"});
}

} // namespace
