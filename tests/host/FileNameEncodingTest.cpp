#include <gtest/gtest.h>

#include <random>
#include <string>

#include "host/FileNameEncoding.h"

namespace {

struct DecodeCase {
    std::string bytes;
    std::wstring wide;
};

TEST(FileNameEncoding, DecodesValidUtf8AndEscapesEveryOtherByte) {
    const DecodeCase cases[] = {
        {"plain.txt", L"plain.txt"},
        {"caf\xc3\xa9", L"caf\u00e9"},
        {"\xe6\x97\xa5", L"\u65e5"},
        {"\xf0\x9f\x98\x80", L"\U0001F600"},
        {"\xef\xbf\xbf", L"\uFFFF"},
        {"\xdf\xbf", L"\u07FF"},
        // Stray continuation byte, lone lead byte at the end.
        {"a\x80" "b", L"a\xDC80" L"b"},
        {"a\xc3", L"a\xDCC3"},
        // A lead byte followed by a byte that does not continue it: only the
        // lead byte is escaped, the rest decodes on its own.
        {"\xc3(", L"\xDCC3("},
        // Overlong forms, an encoded surrogate, a value above U+10FFFF.
        {"\xc0\xaf", L"\xDCC0\xDCAF"},
        {"\xe0\x80\xaf", L"\xDCE0\xDC80\xDCAF"},
        {"\xed\xa0\x80", L"\xDCED\xDCA0\xDC80"},
        {"\xf4\x90\x80\x80", L"\xDCF4\xDC90\xDC80\xDC80"},
        {"\xff\xfe", L"\xDCFF\xDCFE"},
    };
    for (const DecodeCase& c : cases) {
        EXPECT_EQ(host::FileNameToWide(c.bytes), c.wide) << c.bytes;
        EXPECT_EQ(host::FileNameToBytes(c.wide), c.bytes) << c.bytes;
    }
}

TEST(FileNameEncoding, AnyByteStringRoundTrips) {
    for (int b = 1; b < 256; ++b) {
        std::string one(1, static_cast<char>(b));
        EXPECT_EQ(host::FileNameToBytes(host::FileNameToWide(one)), one) << b;
    }
    std::mt19937 random(7);
    std::uniform_int_distribution<int> byte(1, 255), length(1, 40);
    for (int i = 0; i < 2000; ++i) {
        std::string bytes;
        for (int n = length(random); n > 0; --n) bytes.push_back(static_cast<char>(byte(random)));
        ASSERT_EQ(host::FileNameToBytes(host::FileNameToWide(bytes)), bytes);
    }
}

TEST(FileNameEncoding, TextThatNoNameYieldsBecomesReplacementCharacter) {
    // Surrogates outside the escape range and values beyond Unicode.
    const std::wstring cases[] = {std::wstring(1, wchar_t(0xD800)), std::wstring(1, wchar_t(0xDC7F)),
                                  std::wstring(1, wchar_t(0xDD00)), std::wstring(1, wchar_t(0x110000))};
    for (const std::wstring& w : cases) EXPECT_EQ(host::FileNameToBytes(w), "\xef\xbf\xbd") << unsigned(w[0]);
}

} // namespace
