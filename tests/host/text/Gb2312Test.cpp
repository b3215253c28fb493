// GB2312 both ways: known bytes, the cells GB18030 reads differently, what
// GB2312 cannot hold, and bytes that are not valid.
#include <gtest/gtest.h>

#include "host/text/Gb2312.h"

namespace {

using host::TextCodecError;

TEST(Gb2312, KnownAnswersBothWays) {
    struct Case { std::wstring text; std::string bytes; };
    const Case cases[] = {
        {L"", ""},
        {L"a\u4E2D\u6587-\n", "a\xD6\xD0\xCE\xC4-\n"},
        // The cells GB18030 reads as U+00B7 and U+2014 are written so too.
        {L"\u00B7\u2014", "\xA1\xA4\xA1\xAA"},
    };
    for (const Case& c : cases) {
        TextCodecError error;
        EXPECT_EQ(host::EncodeGb2312(c.text, error), c.bytes) << error.reason;
        EXPECT_EQ(host::DecodeGb18030(c.bytes, error), c.text) << error.reason;
    }
    // Decoding also takes GBK and GB18030 bytes.
    TextCodecError error;
    EXPECT_EQ(host::DecodeGb18030("\x81\x40\x81\x30\x81\x30", error), std::wstring(L"\u4E02\u0080"));
}

TEST(Gb2312, RefusesWhatItCannotHoldAtItsIndex) {
    struct Case { std::wstring text; size_t position; const char* named; };
    const Case cases[] = {
        {L"x\u20AC", 1, "U+20AC"},
        {L"\u4E2D" + std::wstring(1, static_cast<wchar_t>(0x1F600)), 1, "U+1F600"},
        {L"ab\u4E02", 2, "U+4E02"},                           // in GBK, not in GB2312
        {L"\u0080", 0, "U+0080"},                             // a four-byte GB18030 unit
        {std::wstring(1, static_cast<wchar_t>(0xD800)), 0, "U+D800"}, // no character
    };
    for (const Case& c : cases) {
        TextCodecError error;
        EXPECT_EQ(host::EncodeGb2312(c.text, error), std::nullopt) << c.named;
        EXPECT_EQ(error.position, c.position) << c.named;
        EXPECT_NE(error.reason.find(c.named), std::string::npos) << error.reason;
    }
}

TEST(Gb2312, InvalidBytesFailAtTheirOffset) {
    struct Case { std::string bytes; size_t offset; };
    const Case cases[] = {
        {"\xD6\xD0\xD6", 2},     // cut short
        {"\xD6\xD0\xFF\x41", 2}, // no lead byte
        {"\x80", 0},
        {"A\x81\x30\x81", 1},    // four-byte unit cut short
    };
    for (const Case& c : cases) {
        TextCodecError error;
        EXPECT_EQ(host::DecodeGb18030(c.bytes, error), std::nullopt) << c.offset;
        EXPECT_EQ(error.position, c.offset);
    }
}

} // namespace
