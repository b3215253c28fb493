// Wide text to UTF-8 and path separator normalisation.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/Helpers.h"
#include "ViewText.h"

namespace {

std::vector<unsigned char> Encode(std::wstring text, int* length = nullptr) {
    int n = -1;
    std::unique_ptr<char[]> bytes(_IS2A(ViewOf(text), &n));
    if (length) *length = n;
    EXPECT_EQ(bytes[n], '\0') << "terminated after the counted bytes";
    return std::vector<unsigned char>(bytes.get(), bytes.get() + n);
}

struct EncodeCase {
    wchar_t code;
    std::vector<unsigned char> bytes;
};

TEST(IS2A, EncodesEachCodePointWithItsByteCount) {
    const EncodeCase cases[] = {
        {L'A', {0x41}},
        {127, {0x7F}},
        {128, {0xC2, 0x80}},
        {0xE9, {0xC3, 0xA9}},
        {2046, {0xDF, 0xBE}},
        // 2047 and 65535 take one byte more than the shortest form.
        {2047, {0xE0, 0x9F, 0xBF}},
        {2048, {0xE0, 0xA0, 0x80}},
        {0x20AC, {0xE2, 0x82, 0xAC}},
        {65534, {0xEF, 0xBF, 0xBE}},
        {65535, {0xF0, 0x8F, 0xBF, 0xBF}},
        {0x10000, {0xF0, 0x90, 0x80, 0x80}},
        {0x1F600, {0xF0, 0x9F, 0x98, 0x80}},
        {0x10FFFF, {0xF4, 0x8F, 0xBF, 0xBF}},
    };
    for (const EncodeCase& c : cases) {
        int length = 0;
        EXPECT_EQ(Encode(std::wstring(1, c.code), &length), c.bytes) << "code point " << static_cast<int>(c.code);
        EXPECT_EQ(length, static_cast<int>(c.bytes.size()));
    }
}

TEST(IS2A, EmptyTextGivesAnEmptyString) {
    int length = -1;
    std::unique_ptr<char[]> bytes(_IS2A(tagREFString{0, nullptr}, &length));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes[0], '\0');
    EXPECT_EQ(length, 0);
    std::unique_ptr<char[]> noLength(_IS2A(CREFString(L"ab"), nullptr));
    EXPECT_STREQ(noLength.get(), "ab");
}

// Texts around the first buffer size and its growth steps, with code points
// of every width, come out whole.
TEST(IS2A, GrowsForLongAndWideTexts) {
    const wchar_t widths[] = {L'x', 0xE9, 0x20AC, 0x1F600};
    const size_t sizes[] = {1, 2, 3, 4};
    for (size_t w = 0; w < 4; ++w) {
        for (size_t count : {64u, 86u, 87u, 255u, 256u, 257u, 258u, 300u, 1000u}) {
            std::wstring text(count, widths[w]);
            text[count / 2] = L'm';
            int length = 0;
            std::vector<unsigned char> bytes = Encode(text, &length);
            ASSERT_EQ(static_cast<size_t>(length), (count - 1) * sizes[w] + 1) << count << " x " << sizes[w];
            std::vector<unsigned char> one = Encode(std::wstring(1, widths[w]));
            EXPECT_TRUE(std::equal(one.begin(), one.end(), bytes.begin()));
            EXPECT_TRUE(std::equal(one.begin(), one.end(), bytes.end() - static_cast<long>(one.size())));
            EXPECT_EQ(bytes[(count / 2) * sizes[w]], 'm');
        }
    }
}

struct SeparatorCase {
    std::wstring text;
    std::wstring result;
    HRESULT status;
};

TEST(CheckSeparator, TurnsBackslashesIntoSlashesInPlace) {
    const SeparatorCase cases[] = {
        {L"a\\b\\c", L"a/b/c", S_OK},
        {L"\\\\server\\share", L"//server/share", S_OK},
        {L"a/b", L"a/b", S_OK},
        {L"", L"", E_FAIL},
    };
    for (const SeparatorCase& c : cases) {
        std::wstring text = c.text;
        EXPECT_EQ(CheckSeparator(ViewOf(text)), c.status);
        EXPECT_EQ(text, c.result);
    }
    // Only the view's characters change.
    std::wstring text = L"a\\b\\c";
    EXPECT_EQ(CheckSeparator(CREFString(text.data(), 2)), S_OK);
    EXPECT_EQ(text, L"a/b\\c");
}

} // namespace
