#include <gtest/gtest.h>

#include "host/ConsoleText.h"

namespace {

TEST(ConsoleText, ColumnsOfCharacters) {
    struct Case {
        wchar_t c;
        int columns;
    };
    const Case cases[] = {
        {L'a', 1},       {L'\u00e9', 1},  {L'\u0301', 0}, // combining acute accent
        {L'\u200b', 0},  {L'\u65e5', 2},  {L'\uac00', 2}, // CJK, Hangul
        {L'\uff21', 2},  {L'\uff61', 1},                  // full-width A, half-width stop
        {L'\U0001F600', 2}, {L'\u0416', 1},
    };
    for (const Case& c : cases) EXPECT_EQ(host::CharColumns(c.c), c.columns) << unsigned(c.c);
    EXPECT_EQ(host::TextColumns(L"e\u0301\u65e5x"), 4);
}

TEST(ConsoleText, ControlCharactersAreMasked) {
    EXPECT_EQ(host::SanitizeLine(L"a\nb\rc\x1b[2Jd\x7f\x85\te"), L"a?b?c?[2Jd???e");
    EXPECT_EQ(host::SanitizeLine(L"caf\u00e9 \u65e5"), L"caf\u00e9 \u65e5");
}

TEST(ConsoleText, ShortensKeepingStartAndEnd) {
    struct Case {
        const wchar_t* text;
        int columns;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {L"short", 10, L"short"},
        {L"exactly10!", 10, L"exactly10!"},
        {L"Copying: /source/folder/file.txt", 16, L"Copy.../file.txt"},
        {L"0123456789abcdef", 10, L"01...bcdef"},
        {L"0123456789", 3, L"012"},
        {L"0123456789", 0, L""},
        // Wide characters count twice, and a wide character that does not fit
        // the head leaves its room to the tail.
        {L"\u65e5\u65e5\u65e5\u65e5\u65e5\u65e5", 8, L"...\u65e5\u65e5"},
        {L"ab\u65e5cdefghij", 9, L"ab...ghij"},
    };
    for (const Case& c : cases) {
        std::wstring out = host::ShortenToColumns(c.text, c.columns);
        EXPECT_EQ(out, c.expected) << c.text << " in " << c.columns;
        EXPECT_LE(host::TextColumns(out), c.columns) << c.text;
    }
}

} // namespace
