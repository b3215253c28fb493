// C escapes: what each escape reads as, where a malformed one is reported,
// and that decoding what encoding wrote gives the text back.
#include <gtest/gtest.h>

#include "host/text/Escapes.h"
#include "host/text/Utf8.h"

namespace {

TEST(Escapes, DecodeTable) {
    struct Case {
        std::wstring text;
        std::optional<std::wstring> decoded; // nothing: fails at `position`
        size_t position = 0;
    };
    const Case cases[] = {
        {L"\\n\\t\\r\\\\\\\"\\'\\a\\b\\f\\v", L"\n\t\r\\\"'\a\b\f\v"},
        {L"a\\0b", std::wstring(L"a\0b", 3)},
        {L"\\x41\\x7z\\xFFF", L"A\x07z\u00FF" L"F"},
        {L"\\u{4E2D}\\u{a}\\u{10FFFF}", L"\u4E2D\n" + std::wstring(1, static_cast<wchar_t>(0x10FFFF))},
        {L"\\u{000041}", L"A"},
        {L"ab\\", std::nullopt, 2},
        {L"\\xg", std::nullopt, 0},
        {L"x\\x", std::nullopt, 1},
        {L"\\u{}", std::nullopt, 0},
        {L"\\u41", std::nullopt, 0},
        {L"\\u{41", std::nullopt, 0},
        {L"\\u{1000000}", std::nullopt, 0},
        {L"\\u{D800}", std::nullopt, 0},
        {L"\\u{110000}", std::nullopt, 0},
        {L"ok \\q", std::nullopt, 3},
    };
    for (const Case& c : cases) {
        host::TextCodecError error;
        EXPECT_EQ(host::DecodeEscapes(c.text, error), c.decoded) << host::ToUtf8(c.text);
        if (!c.decoded) {
            EXPECT_EQ(error.position, c.position) << host::ToUtf8(c.text);
        }
    }
}

TEST(Escapes, EncodeWritesPrintableAsciiThatDecodesBack) {
    const std::wstring awkward[] = {
        L"",
        std::wstring(L"\0\x01\x1F\x7F\n\t\r\a\b\f\v", 11),
        L"quotes \" ' and \\ backslashes \\\\, escapes as text: \\x41 \\u{41} \\n",
        L"\x01" L"a\x01" L"9", // a control before hex digits
        L"\u00E9\u4E2D\uFFFD\u007E\u0080" + std::wstring(1, static_cast<wchar_t>(0x1F600)),
    };
    for (const std::wstring& text : awkward) {
        const std::wstring encoded = host::EncodeEscapes(text);
        for (wchar_t c : encoded) EXPECT_TRUE(c >= 0x20 && c <= 0x7E) << host::ToUtf8(encoded);
        host::TextCodecError error;
        EXPECT_EQ(host::DecodeEscapes(encoded, error), text) << host::ToUtf8(encoded) << ": " << error.reason;
    }
    EXPECT_EQ(host::EncodeEscapes(L"a\n\x01\x7F\\\u00E9\u4E2D"), L"a\\n\\x01\\x7F\\\\\\u{E9}\\u{4E2D}");
}

} // namespace
