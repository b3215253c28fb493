// Line, word and token cutting of counted views.
#include <functional>

#include <gtest/gtest.h>

#include "ViewText.h"

namespace {

using Cut = std::function<HRESULT(CREFString& view, CREFString* out)>;

// One cut: the operation on a view over `text`, the output text, the status
// and the text the view shows afterwards.
struct CutCase {
    std::wstring text;
    Cut cut;
    std::wstring out;
    HRESULT status;
    std::wstring rest;
};

Cut Line(bool advance, bool drop) { return [=](CREFString& v, CREFString* o) { return v.GetLine(o, advance, L'\n', drop); }; }
Cut CRLF(bool drop, bool advance) { return [=](CREFString& v, CREFString* o) { return v.GetLineCRLF(o, drop, advance); }; }
Cut Reverse(bool advance, bool skip) {
    return [=](CREFString& v, CREFString* o) { return v.GetReverseLine(o, L'/', advance, skip); };
}
Cut Right(bool advance, bool skip, bool whole) {
    return [=](CREFString& v, CREFString* o) { return v.GetLineRight(o, L'/', advance, skip, whole); };
}
Cut Crop(bool advance, bool skip) { return [=](CREFString& v, CREFString* o) { return v.Crop(o, L'.', advance, skip); }; }
Cut FirstWord(bool advance) { return [=](CREFString& v, CREFString* o) { return v.GetFirstWord(o, advance); }; }

constexpr HRESULT kFail = E_FAIL;

TEST(REFStringCutting, EachOperationCutsAndAdvancesAsDocumented) {
    const CutCase cases[] = {
        // GetLine: the separator belongs to the line; status 1 when used up.
        {L"a\nb", Line(true, false), L"a\n", S_OK, L"b"},
        {L"a\nb", Line(true, true), L"a", S_OK, L"b"},
        {L"ab\n", Line(true, true), L"ab", S_FALSE, L""},
        {L"abc", Line(true, true), L"abc", S_FALSE, L""},
        {L"a\nb", Line(false, false), L"a\n", S_OK, L"a\nb"},
        {L"ab\n", Line(false, false), L"ab\n", kFail, L"ab\n"},
        {L"", Line(true, false), L"", kFail, L""},
        // GetLineCRLF: CR LF in either order is one line end, a repeated
        // character is two.
        {L"ab\r\ncd", CRLF(true, true), L"ab", S_OK, L"cd"},
        {L"ab\r\ncd", CRLF(false, true), L"ab\r\n", S_OK, L"cd"},
        {L"ab\n\rcd", CRLF(true, true), L"ab", S_OK, L"cd"},
        {L"ab\r\rcd", CRLF(true, true), L"ab", S_OK, L"\rcd"},
        {L"ab\r\n", CRLF(true, true), L"ab", S_FALSE, L""},
        {L"ab\r\ncd", CRLF(true, false), L"ab", S_OK, L"ab\r\ncd"},
        {L"", CRLF(true, true), L"", kFail, L""},
        // GetReverseLine: the text before the last separator.
        {L"a/b/c", Reverse(true, true), L"a/b", S_OK, L"c"},
        {L"a/b/c", Reverse(true, false), L"a/b", S_OK, L"/c"},
        {L"a/b/c", Reverse(false, true), L"a/b", S_OK, L"a/b/c"},
        {L"/abc", Reverse(true, true), L"", S_OK, L"abc"},
        {L"abc", Reverse(true, true), L"", kFail, L"abc"},
        {L"", Reverse(true, true), L"", kFail, L""},
        // GetLineRight: the text after the last separator; the view keeps
        // what is before it.
        {L"a/b/c", Right(true, true, false), L"c", S_OK, L"a/b"},
        {L"a/b/c", Right(true, false, false), L"/c", S_OK, L"a/b/"},
        {L"abc/", Right(true, true, false), L"", S_OK, L"abc"},
        {L"abc", Right(true, true, true), L"abc", S_OK, L""},
        {L"abc", Right(false, true, true), L"abc", S_OK, L"abc"},
        {L"abc", Right(true, true, false), L"", kFail, L"abc"},
        {L"", Right(true, true, true), L"", kFail, L""},
        // Crop: the same without the whole-text fallback.
        {L"x.tar.gz", Crop(true, true), L"gz", S_OK, L"x.tar"},
        {L"x.tar.gz", Crop(true, false), L".gz", S_OK, L"x.tar."},
        {L".abc", Crop(true, true), L"abc", S_OK, L""},
        {L".abc", Crop(true, false), L".abc", S_OK, L"."},
        {L"abc", Crop(true, true), L"", kFail, L"abc"},
        // GetFirstWord: the first character chooses the kind of token.
        {L"-12.5e+3x", FirstWord(true), L"-12.5e+3", S_OK, L"x"},
        {L"2.5E-1 x", FirstWord(true), L"2.5E-1", S_OK, L" x"},
        {L"1e5", FirstWord(true), L"1", S_OK, L"e5"},
        {L"12e+", FirstWord(true), L"12", S_OK, L"e+"},
        {L"1.x", FirstWord(true), L"1", S_OK, L".x"},
        {L"-x", FirstWord(true), L"-", S_OK, L"x"},
        {L"(a)", FirstWord(true), L"(", S_OK, L"a)"},
        {L"a_b c", FirstWord(true), L"a_b", S_OK, L" c"},
        {L"abc(d", FirstWord(true), L"abc", S_OK, L"(d"},
        {L"\"x y\" z", FirstWord(true), L"x y", S_OK, L" z"},
        {L"\"\"z", FirstWord(true), L"", S_OK, L"z"},
        {L"\"abc", FirstWord(true), L"abc", S_OK, L""},
        {L"3.14 pi", FirstWord(false), L"3.14", S_OK, L"3.14 pi"},
        {L" a", FirstWord(true), L"", kFail, L" a"},
        {L"", FirstWord(true), L"", kFail, L""},
    };
    for (const CutCase& c : cases) {
        SCOPED_TRACE(std::string(c.text.begin(), c.text.end()));
        std::wstring text = c.text;
        CREFString view = ViewOf(text);
        CREFString out;
        EXPECT_EQ(c.cut(view, &out), c.status);
        EXPECT_EQ(TextOf(out), c.out);
        EXPECT_EQ(TextOf(view), c.rest);
        // Outputs point into the original text, never into a copy.
        if (out.m_Length > 0) {
            EXPECT_TRUE(out.m_pString >= text.data() && out.m_pString < text.data() + text.size());
        }
    }
}

TEST(REFStringCutting, SuccessiveLinesEndWithUsedUpThenFailure) {
    std::wstring text = L"a\nb";
    CREFString view = ViewOf(text);
    CREFString line;
    EXPECT_EQ(view.GetLine(&line, true, L'\n', false), S_OK);
    EXPECT_EQ(view.GetLine(&line, true, L'\n', false), S_FALSE);
    EXPECT_EQ(TextOf(line), L"b");
    EXPECT_EQ(view.GetLine(&line, true, L'\n', false), kFail);
    EXPECT_EQ(line.m_Length, 0);
    // A null output only moves the view.
    CREFString again = ViewOf(text);
    EXPECT_EQ(again.GetLine(nullptr, true, L'\n', false), S_OK);
    EXPECT_EQ(TextOf(again), L"b");
}

struct SplitCase {
    std::wstring text, separators;
    int stopAtControl;
    std::wstring left, right;
    HRESULT status;
};

TEST(REFStringSplit, SplitsBeforeTheFirstSeparatorWithoutMovingTheView) {
    const SplitCase cases[] = {
        {L"key=value", L"=", 0, L"key", L"=value", S_OK},
        {L"=x", L"=", 0, L"", L"=x", S_OK},
        {L"a,b;c", L";,", 0, L"a", L",b;c", S_OK},
        {L"keyvalue", L"=", 0, L"keyvalue", L"", kFail},
        {L"ab\tc=d", L"=", 1, L"ab", L"\tc=d", S_OK},
        {L"ab\tc", L"=", 0, L"ab\tc", L"", kFail},
        // An empty separator set fails even when control characters stop.
        {L"ab\tc", L"", 1, L"ab\tc", L"", kFail},
        {L"", L"=", 1, L"", L"", kFail},
    };
    for (const SplitCase& c : cases) {
        SCOPED_TRACE(std::string(c.text.begin(), c.text.end()));
        std::wstring text = c.text, separators = c.separators;
        CREFString view = ViewOf(text);
        CREFString left, right;
        EXPECT_EQ(view.Split(&left, &right, ViewOf(separators), c.stopAtControl), c.status);
        EXPECT_EQ(TextOf(left), c.left);
        EXPECT_EQ(TextOf(right), c.right);
        EXPECT_EQ(TextOf(view), c.text);
    }
}

struct GetWordCase {
    std::wstring text, separators;
    bool advance;
    int32_t result;
    std::wstring word, rest;
};

TEST(REFStringGetWord, ReturnsOnePastTheSeparatorIndex) {
    const GetWordCase cases[] = {
        {L"abc,def", L",", true, 4, L"abc", L",def"},
        {L",x", L",", true, 1, L"", L",x"},
        {L"a b", L", ", false, 2, L"a", L"a b"},
        {L"abcdef", L",", true, 0, L"abcdef", L""},
        {L"", L",", true, kFail, L"", L""},
    };
    for (const GetWordCase& c : cases) {
        SCOPED_TRACE(std::string(c.text.begin(), c.text.end()));
        std::wstring text = c.text, separators = c.separators;
        CREFString view = ViewOf(text);
        CREFString word;
        EXPECT_EQ(view.GetWord(&word, c.advance, ViewOf(separators)), c.result);
        EXPECT_EQ(TextOf(word), c.word);
        EXPECT_EQ(TextOf(view), c.rest);
    }
}

} // namespace
