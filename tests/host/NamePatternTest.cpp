#include <gtest/gtest.h>

#include "host/NamePattern.h"

namespace {

struct PatternCase {
    const wchar_t* pattern;
    const wchar_t* name;
    bool matches;
};

TEST(NamePattern, MatchesWholeNames) {
    const PatternCase cases[] = {
        {L"*", L"", true},
        {L"*", L".profile", true},
        {L"*.txt", L"notes.txt", true},
        {L"*.txt", L"notes.txt.bak", false},
        {L"*.txt", L".txt", true},
        {L"*.txt", L"notes.TXT", false}, // case counts
        {L"?.c", L"a.c", true},
        {L"?.c", L"ab.c", false},
        {L"?.c", L".c", false},
        {L"a*b*c", L"aXXbYYc", true},
        {L"a*b*c", L"aXXcYYb", false},
        {L"a*b", L"abab", true},        // the star has to give back the first "b"
        {L"*ab*ab", L"xabyabab", true}, // and back-track more than once
        {L"**", L"x", true},
        {L"*?", L"", false},
        {L"caf\u00e9*", L"caf\u00e9.jpg", true},
        {L"exact", L"exact", true},
        {L"exact", L"exac", false},
        {L"", L"", true},
        {L"", L"x", false},
    };
    for (const PatternCase& c : cases)
        EXPECT_EQ(host::MatchNamePattern(c.pattern, c.name), c.matches) << c.pattern << " vs " << c.name;
}

TEST(NamePattern, ListsSeparatedBySemicolons) {
    const PatternCase cases[] = {
        {L"*.jpg;*.png", L"a.png", true},
        {L"*.jpg;*.png", L"a.jpg", true},
        {L"*.jpg;*.png", L"a.gif", false},
        {L" *.jpg ; *.png ", L"a.png", true}, // blanks around patterns
        {L";;", L"", false},                  // empty patterns match nothing
        {L"", L"", false},
        {L"*.txt;", L"a.txt", true},
    };
    for (const PatternCase& c : cases)
        EXPECT_EQ(host::MatchNamePatternList(c.pattern, c.name), c.matches) << c.pattern << " vs " << c.name;
}

TEST(NamePattern, LongNamesStayFast) {
    // A pattern with many stars against a long name that fails only at the
    // end: an exponential matcher would not finish.
    std::wstring name(20000, L'a');
    EXPECT_FALSE(host::MatchNamePattern(L"*a*a*a*a*a*a*a*a*b", name));
    name += L'b';
    EXPECT_TRUE(host::MatchNamePattern(L"*a*a*a*a*a*a*a*a*b", name));
}

} // namespace
