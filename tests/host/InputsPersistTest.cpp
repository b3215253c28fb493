#include <gtest/gtest.h>

#include "HostParamsSupport.h"
#include "StreamTestSupport.h"

namespace {

using paramstest::Make;
using paramstest::Names;
using paramstest::Str;

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
        IPtr<IInputParameter> input = entry.Query<IInputParameter>(IID_IInputParameter);
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
    IPtr<IInputParameters> inputs = Make<IInputParameters>(L"InputParameters", IID_IInputParameters);
    for (const auto& [name, iid] : declared) inputs->AddInput(Str(name).Get(), iid);
    return inputs;
}

void Source(IInputParameters* inputs, int32_t index, const std::wstring& component, const std::wstring& parameter) {
    IPtr<IUnknown> entry;
    inputs->get_Item(index, entry.Out());
    IPtr<IInputParameter> input = entry.Query<IInputParameter>(IID_IInputParameter);
    input->put_SourceComponent(Str(component).Get());
    input->put_SourceParameter(Str(parameter).Get());
}

// A stream of the given component holding the saved text of `saved`, made
// anew so that nothing but the text carries over.
IPtr<IDataStream> Reparsed(const wchar_t* component, IUnknown* saved) {
    IPtr<IDataStream> copy = Make<IDataStream>(component, IID_IDataStream);
    EXPECT_EQ(streamtest::WriteBytes(copy.Get(), streamtest::Content(saved)), S_OK);
    return copy;
}

class InputsPersistTest : public ::testing::TestWithParam<const wchar_t*> {};

TEST_P(InputsPersistTest, SourcesRoundTripByInputName) {
    IPtr<IInputParameters> saved =
        Declare({{L"UILineDisplayable", &IID_IUILineDisplayable}, {L"Port", nullptr}, {L"Unbound", nullptr}});
    Source(saved.Get(), 0, L"Console", L"");
    Source(saved.Get(), 1, L"Server", L"SrcPort");
    IPtr<IDataStream> stream = Make<IDataStream>(GetParam(), IID_IDataStream);
    ASSERT_EQ(QueryAs<IDataPersist>(saved.Get(), IID_IDataPersist)->Save(stream.Get(), 0x800000), S_OK);
    const std::string text = streamtest::Content(stream.Get());
    EXPECT_NE(text.find("Console"), std::string::npos) << text;
    EXPECT_NE(text.find("SrcPort"), std::string::npos) << text;

    // Matching: the inputs the component declares, in another order, take
    // their sources; an input the stream does not know stays unbound and
    // the declared interfaces stay as declared.
    IPtr<IInputParameters> loaded =
        Declare({{L"port", nullptr}, {L"Extra", &IID_IStep}, {L"UILINEDISPLAYABLE", &IID_IUILineDisplayable}});
    Source(loaded.Get(), 1, L"Keep", L"Me");
    ASSERT_EQ(QueryAs<IDataPersist>(loaded.Get(), IID_IDataPersist)->Load(Reparsed(GetParam(), stream.Get()).Get(), 0),
              S_OK);
    const std::vector<InputState> matched = {{L"port", IID_NULL, L"Server", L"SrcPort"},
                                             {L"Extra", IID_IStep, L"Keep", L"Me"},
                                             {L"UILINEDISPLAYABLE", IID_IUILineDisplayable, L"Console", L""}};
    EXPECT_EQ(States(loaded.Get()), matched);

    // Clear and append: the inputs are made again from the stream, with the
    // interfaces that were saved.
    IPtr<IInputParameters> rebuilt = Declare({{L"Gone", nullptr}});
    ASSERT_EQ(QueryAs<IDataPersist>(rebuilt.Get(), IID_IDataPersist)
                  ->Load(Reparsed(GetParam(), stream.Get()).Get(), 0x01000000),
              S_OK);
    EXPECT_EQ(States(rebuilt.Get()), States(saved.Get()));
}

INSTANTIATE_TEST_SUITE_P(Streams, InputsPersistTest, ::testing::Values(L"XMLStream", L"FolderStream"),
                         [](const auto& info) { return host::ToUtf8(info.param); });

TEST(InputsPersist, OtherEntriesOfASharedFolderAreNotTakenForInputs) {
    IPtr<IFolderStream> folder = Make<IFolderStream>(L"FolderStream", IID_IFolderStream);
    IPtr<IFolderStream> parameter;
    ASSERT_EQ(folder->OpenFolder(REFLiteral(L"Mode"), 1, parameter.Out()), S_OK);
    parameter->WriteValue(REFLiteral(L"Value"), paramstest::Int(1).Get());
    folder->WriteValue(REFLiteral(L"Port"), paramstest::Int(21).Get());
    IPtr<IInputParameters> saved = Declare({{L"Display", nullptr}});
    Source(saved.Get(), 0, L"Console", L"");
    IPtr<IDataStream> stream = folder.Query<IDataStream>(IID_IDataStream);
    ASSERT_EQ(QueryAs<IDataPersist>(saved.Get(), IID_IDataPersist)->Save(stream.Get(), 0), S_OK);

    IPtr<IInputParameters> rebuilt = Declare({});
    ASSERT_EQ(QueryAs<IDataPersist>(rebuilt.Get(), IID_IDataPersist)->Load(stream.Get(), 0x01000000), S_OK);
    EXPECT_EQ(Names(rebuilt.Get()), std::vector<std::wstring>{L"Display"});
}

TEST(InputsPersist, StreamsWithoutXMLOrFolderFaceAreRefused) {
    IPtr<IInputParameters> inputs = Declare({{L"A", nullptr}});
    IPtr<IDataPersist> persist = inputs.Query<IDataPersist>(IID_IDataPersist);
    IPtr<IDataStream> plain = Make<IDataStream>(L"DataStream", IID_IDataStream);
    EXPECT_EQ(persist->Save(plain.Get(), 0), E_NOTIMPL);
    EXPECT_EQ(persist->Load(plain.Get(), 0), E_NOTIMPL);
    EXPECT_EQ(persist->Save(nullptr, 0), E_POINTER);
    EXPECT_EQ(Names(inputs.Get()), std::vector<std::wstring>{L"A"});
}

} // namespace
