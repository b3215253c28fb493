// The string conversion step: which object "OutString" ends up holding, and
// which transform calls lead there.
#include "components/STRINGConvert.h"

#include "ConvertHost.h"

namespace {

class STRINGConvertTest : public ::testing::Test {
protected:
    void SetUp() override {
        host.Answer(L"UnicodeGB2312", &gb2312);
        host.Answer(L"ASCIIStream", &ascii);
        step = CreateRegistered(L"STRINGConvert");
        ASSERT_TRUE(step);
        step->put_Item(CSTRINGConvert::kInString, input.Get());
    }
    void Set(int32_t index, int value) { step->put_Item(index, IPtr<IVariant>::Adopt(IVCreate(value)).Get()); }
    // The calls of both transforms, as "gb2312 Transform 0 abc; ..." (the
    // text is what the source answered as a string).
    std::string Calls() {
        std::string text;
        for (auto* t : {&gb2312, &ascii})
            for (const auto& call : t->calls)
                text += std::string(t == &ascii ? "ascii " : "gb2312 ") + call.operation + " " +
                        std::to_string(call.options) + " " +
                        std::string(call.sourceText.begin(), call.sourceText.end()) + "; ";
        return text;
    }
    static bool Same(IUnknown* a, IUnknown* b) { return QueryAs<IUnknown>(a).Get() == QueryAs<IUnknown>(b).Get(); }

    RoutingCollection host;
    RecordingTextTransform gb2312, ascii;
    IPtr<IParameters> step;
    IPtr<IString> input = IPtr<IString>::Adopt(ISCreate(L"abc"));
};

TEST_F(STRINGConvertTest, EachChoiceSetsItsOutput) {
    enum Outcome { kInput, kUnchanged, kTarget, kNewString };
    struct Case {
        int conversion, revert; // -1: as a new step has it
        const char* calls;
        Outcome outcome;
    } const cases[] = {
        {-1, -1, "ascii Transform 4 abc; ascii TransformBack 8 ; ", kNewString},
        {CSTRINGConvert::kMimeHex, 0, "", kInput}, // as Off and any value outside the list
        {CSTRINGConvert::kMime64, 0, "", kUnchanged},
        {CSTRINGConvert::kCB2312, 0, "gb2312 Transform 0 abc; ", kTarget},
        {CSTRINGConvert::kCB2312, 1, "gb2312 TransformBack 0 abc; ", kTarget},
        {CSTRINGConvert::kInterpret, 1, "ascii TransformBack 4 abc; ", kTarget},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "conversion " << c.conversion << " revert " << c.revert);
        gb2312.calls.clear();
        ascii.calls.clear();
        IPtr<IString> before = IPtr<IString>::Adopt(ISCreate(L"before"));
        step->put_Item(CSTRINGConvert::kOutString, before.Get());
        if (c.conversion >= 0) Set(CSTRINGConvert::kConversion, c.conversion);
        if (c.revert >= 0) Set(CSTRINGConvert::kRevert, c.revert);

        EXPECT_EQ(step.Query<IStep>()->TurnOn(), S_OK);
        IPtr<IUnknown> out;
        step->get_Item(CSTRINGConvert::kOutString, out.Out());
        EXPECT_EQ(Calls(), c.calls);
        EXPECT_EQ(Same(out.Get(), input.Get()), c.outcome == kInput);
        EXPECT_EQ(Same(out.Get(), before.Get()), c.outcome == kUnchanged);
        // A published stream is the one the transform wrote into.
        const auto& last = gb2312.calls.empty() ? ascii.calls : gb2312.calls;
        EXPECT_EQ(QueryAs<IDataStream>(out.Get()).Get(), c.outcome == kTarget ? last.back().target : nullptr);
        if (c.outcome == kNewString) {
            EXPECT_EQ(TextOf(out.Get()), L"abc");
            EXPECT_EQ(ascii.calls[1].source, ascii.calls[0].target);
        }
    }
}

} // namespace
