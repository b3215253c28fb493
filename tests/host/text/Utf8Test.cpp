// The one UTF-8 codec: standard UTF-8 both ways, and what becomes of bytes
// and code points that are not.
#include <gtest/gtest.h>

#include "host/text/Utf8.h"

namespace {

TEST(Utf8, RoundTripsAndRepairs) {
    struct Case {
        std::wstring wide;
        std::string utf8;
    };
    const Case roundTrips[] = {
        {L"", ""},
        {L"plain/path.txt", "plain/path.txt"},
        {L"\u00E9", "\xC3\xA9"},
        {L"\u07FF", "\xDF\xBF"},
        {L"\u0800", "\xE0\xA0\x80"},
        {L"\u20AC", "\xE2\x82\xAC"},
        {L"\uFFFF", "\xEF\xBF\xBF"},
        {std::wstring(1, static_cast<wchar_t>(0x1F600)), "\xF0\x9F\x98\x80"},
        {std::wstring(1, static_cast<wchar_t>(0x10FFFF)), "\xF4\x8F\xBF\xBF"},
    };
    for (const Case& c : roundTrips) {
        EXPECT_EQ(host::ToUtf8(c.wide), c.utf8);
        EXPECT_EQ(host::FromUtf8(c.utf8), c.wide);
        EXPECT_EQ(host::FromStrictUtf8(c.utf8), c.wide);
    }
    const std::wstring bad(1, L'\uFFFD');
    const Case decodes[] = {
        {bad, "\xC3"},                      // cut short
        {bad + L"A", "\xC3" "A"},           // continuation missing
        {bad, "\xE0\x80\x80"},              // over-long
        {bad + bad, "\xC0\xAF"},            // never a lead byte, then a stray
        {bad, "\xED\xA0\x80"},              // a surrogate
        {bad, "\xF4\x90\x80\x80"},          // past U+10FFFF
        {bad + bad, "\x80\xBF"},            // stray continuations
        {L"a" + bad + L"b", "a\xFF" "b"},
    };
    for (const Case& c : decodes) {
        EXPECT_EQ(host::FromUtf8(c.utf8), c.wide);
        EXPECT_EQ(host::FromStrictUtf8(c.utf8), std::nullopt) << c.utf8; // not text
    }
    EXPECT_EQ(host::ToUtf8(std::wstring(1, static_cast<wchar_t>(0xD800))), "\xEF\xBF\xBD");
    EXPECT_EQ(host::ToUtf8(std::wstring(1, static_cast<wchar_t>(0x110000))), "\xEF\xBF\xBD");
}

} // namespace
