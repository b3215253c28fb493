// Searching and case-blind comparison of counted views.
#include <gtest/gtest.h>

#include "ViewText.h"

namespace {

struct SearchCase {
    std::wstring text, needle;
    int32_t contains;    // Contains(needle)
    int32_t containsChar; // ContainsChar(needle as a set)
};

TEST(REFStringSearch, ContainsAndContainsCharReportTheirPositions) {
    const SearchCase cases[] = {
        {L"hello", L"lo", 3, 2},
        {L"hello", L"o", 4, 4},
        {L"hello", L"l", 2, 2},
        // A one-character match at index 0 is 0; longer matches there are
        // reported from their second character.
        {L"hello", L"h", 0, 0},
        {L"hello", L"he", 1, 0},
        {L"hello", L"hello", 1, 0},
        // A failed partial match from index 0 hides a match inside it; one
        // starting later is rescanned from after its start.
        {L"aab", L"ab", E_FAIL, 0},
        {L"xaab", L"ab", 2, 1},
        {L"ababc", L"abc", 2, 0},
        {L"hello", L"hellox", E_FAIL, 0},
        {L"hello", L"xyz", E_FAIL, E_FAIL},
        {L"hello", L"", E_FAIL, E_FAIL},
        {L"", L"a", E_FAIL, E_FAIL},
    };
    for (const SearchCase& c : cases) {
        SCOPED_TRACE(std::string(c.needle.begin(), c.needle.end()) + " in " + std::string(c.text.begin(), c.text.end()));
        std::wstring text = c.text, needle = c.needle;
        CREFString view = ViewOf(text);
        EXPECT_EQ(view.Contains(ViewOf(needle)), c.contains);
        EXPECT_EQ(view.ContainsChar(ViewOf(needle)), c.containsChar);
    }
}

struct CompareCase {
    std::wstring text, other;
    short prefixOnly;
    HRESULT result;
};

TEST(REFStringCompareI, ComparesCaseBlindOverTheShorterOrTheOtherLength) {
    const CompareCase cases[] = {
        {L"ABC", L"abc", 0, S_OK},       {L"abcd", L"abc", 0, S_FALSE}, {L"ab", L"abc", 0, S_FALSE},
        {L"abd", L"abc", 0, E_FAIL},     {L"htt", L"http://", 0, S_FALSE}, {L"abcd", L"ABC", 1, S_FALSE},
        {L"abc", L"ABC", 1, S_OK},       {L"ab", L"abc", 1, E_FAIL},    {L"xbc", L"abc", 1, E_FAIL},
        {L"", L"abc", 0, E_FAIL},        {L"abc", L"", 0, E_FAIL},      {L"abc", L"", 1, E_FAIL},
    };
    for (const CompareCase& c : cases) {
        std::wstring text = c.text, other = c.other;
        CREFString view = ViewOf(text);
        EXPECT_EQ(view.CompareI(ViewOf(other), c.prefixOnly), c.result)
            << std::string(c.text.begin(), c.text.end()) << " / " << std::string(c.other.begin(), c.other.end())
            << " prefixOnly=" << c.prefixOnly;
    }
}

} // namespace
