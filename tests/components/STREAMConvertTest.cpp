// The stream conversion step: the option word and key its choices give the
// transformer, the input it hands over, and the stream it publishes.
#include "components/STREAMConvert.h"

#include <fstream>

#include "ConvertHost.h"
#include "support/TempFolder.h"

namespace {

// Records the last call; answers a new stream holding "<data>".
struct RecordingTransformer final : IDataStreamEx {
    std::string operation, key = "none";
    IUnknown* source = nullptr; // compared only
    int32_t options = -1;

    CONVERT_NOT_COUNTED(IDataStreamEx)
    HRESULT TransformObject(IUnknown* from, IUnknown** result, int32_t, int32_t word) override {
        return Record("TransformObject", from, result, word);
    }
    HRESULT TransformStream(IDataStream* from, IUnknown** result, int32_t word) override {
        return Record("TransformStream", from, result, word);
    }
    HRESULT RevertStream(IDataStream* from, IUnknown** result, int32_t word) override {
        return Record("RevertStream", from, result, word);
    }
    HRESULT put_Key(IString* text) override {
        const std::wstring wide = TextOf(text);
        return key.assign(wide.begin(), wide.end()), S_OK;
    }
    HRESULT Record(const char* name, IUnknown* from, IUnknown** result, int32_t word) {
        std::tie(operation, source, options) = std::tuple(name, from, word);
        return *result = StreamHolding("<data>").Detach(), S_OK;
    }
};

using P = CSTREAMConvert;

class STREAMConvertTest : public ::testing::Test {
protected:
    void SetUp() override {
        host.Answer(L"DataStreamEx", &transformer);
        host.Answer(L"ASCIIStream", &ascii);
        step = CreateRegistered(L"STREAMConvert");
        ASSERT_TRUE(step);
        step->put_Item(P::kStream, input.Get());
        Set(P::kKey, L"k1");
    }
    void Set(int32_t index, int value) { step->put_Item(index, IPtr<IVariant>::Adopt(IVCreate(value)).Get()); }
    void Set(int32_t index, const wchar_t* text) { step->put_Item(index, IPtr<IString>::Adopt(ISCreate(text)).Get()); }
    IPtr<IUnknown> Run() {
        EXPECT_EQ(step.Query<IStep>()->TurnOn(), S_OK);
        IPtr<IUnknown> out;
        step->get_Item(P::kOutputStream, out.Out());
        return out;
    }

    RoutingCollection host;
    RecordingTransformer transformer;
    RecordingTextTransform ascii;
    IPtr<IDataStream> input = StreamHolding("in");
    IPtr<IParameters> step;
};

TEST_F(STREAMConvertTest, ChoicesGiveTheOptionWord) {
    struct Case {
        const char* why;
        std::vector<std::pair<int32_t, int>> choices;
        int32_t word = 0;
        const wchar_t* header = L""; // "OptionalHeader"
        bool key = false;
        const char* operation = "TransformStream";
        const char* output = "<data>";
    } const cases[] = {
        {.why = "all off", .choices = {}},
        {.why = "auto header", .choices = {{P::kHeader, 2}}, .word = 0x1000},
        {.why = "compress unsigned", .choices = {{P::kCompress, 2}}, .word = 0x40},
        {.why = "CBC", .choices = {{P::kEncrypt, 1}}, .word = 0x82, .key = true},
        {.why = "CTR, no key", .choices = {{P::kEncrypt, 2}}, .word = 0x82},
        {.why = "SHA256", .choices = {{P::kAuthenticate, 1}}, .word = 0x800},
        {.why = "mimehex", .choices = {{P::kMime, 2}}, .word = 0x400},
        {.why = "compress, wide mime64", .choices = {{P::kCompress, 1}, {P::kMime, 3}}, .word = 0x4040 | 0x18400},
        {.why = "key mangling", .choices = {{P::kKeyMangel, 2}}},
        {.why = "manual header", .choices = {{P::kHeader, 1}}, .header = L"AB", .output = "AB<data>"},
        {.why = "empty manual header", .choices = {{P::kHeader, 1}}},
        {.why = "revert", .choices = {{P::kRevert, 1}, {P::kMime, 1}}, .word = 0x8400, .operation = "RevertStream"},
        {.why = "revert, manual header", .choices = {{P::kRevert, 1}, {P::kHeader, 1}}, .header = L"AB",
         .operation = "RevertStream"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        for (int32_t index : {P::kHeader, P::kCompress, P::kEncrypt, P::kKeyMangel, P::kAuthenticate, P::kMime,
                              P::kRevert})
            Set(index, 0);
        for (const auto& [index, value] : c.choices) Set(index, value);
        Set(P::kOptionalHeader, c.header);
        transformer = RecordingTransformer();
        ascii.calls.clear();

        const IPtr<IUnknown> out = Run();
        EXPECT_EQ(transformer.operation, c.operation);
        EXPECT_EQ(transformer.options, c.word);
        EXPECT_EQ(transformer.source, static_cast<IUnknown*>(input.Get()));
        EXPECT_EQ(transformer.key, c.key ? "k1" : "none");
        EXPECT_EQ(BytesOf(out.Get()), c.output);
        // The header goes through "ASCIIStream" with no options.
        std::vector<int32_t> asciiOptions;
        for (const auto& call : ascii.calls) asciiOptions.push_back(call.options);
        EXPECT_EQ(asciiOptions, std::vector<int32_t>(std::string(c.output) != "<data>" ? 1 : 0, 0));
    }
}

TEST_F(STREAMConvertTest, InputThatIsNoObjectGoesOverAsItIs) {
    Set(P::kStream, L"text, not an object");
    Run();
    EXPECT_EQ(transformer.operation, "TransformObject");
    EXPECT_EQ(transformer.source, nullptr);
}

TEST_F(STREAMConvertTest, WithoutTransformerNothingIsPublishedAndTheLogSaysWhy) {
    testsupport::TempFolder folder("stream-convert");
    ::setenv("SHADOW_EVENT_LOG", (folder.Path() / "events.log").c_str(), 1);
    host.Answer(L"DataStreamEx", nullptr);
    IPtr<IString> before = IPtr<IString>::Adopt(ISCreate(L"before"));
    step->put_Item(P::kOutputStream, before.Get());

    EXPECT_EQ(QueryAs<IUnknown>(Run().Get()).Get(), QueryAs<IUnknown>(before.Get()).Get());
    std::ifstream log(folder.Path() / "events.log");
    const std::string lines((std::istreambuf_iterator<char>(log)), {});
    EXPECT_NE(lines.find("STREAMConvert: cannot create DataStreamEx"), std::string::npos) << lines;
}

} // namespace
