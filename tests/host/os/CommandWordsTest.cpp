#include <gtest/gtest.h>

#include "host/os/CommandWords.h"
#include "host/text/Utf8.h"

using Words = std::vector<std::wstring>;

TEST(CommandWords, SplitsAsAShellWithoutExpanding) {
    struct Case {
        const wchar_t* line;
        Words words;
    } cases[] = {
        {L"", {}},
        {L" \t\n ", {}},
        {L"prog  a\tb\nc ", {L"prog", L"a", L"b", L"c"}},
        {L"'a b' \"c d\"", {L"a b", L"c d"}},
        {L"a'b'\"c\"d", {L"abcd"}},
        {L"'' \"\" x", {L"", L"", L"x"}},
        {L"a'' ''b", {L"a", L"b"}},
        {L"'\\ \" $x'", {L"\\ \" $x"}},
        {L"\"\\\" \\\\ \\$ \\` \\a\"", {L"\" \\ $ ` \\a"}},
        {L"\"a\\\nb\" c\\\nd", {L"ab", L"cd"}},
        {L"\\  \\' \\\" \\\\ \\x", {L" ", L"'", L"\"", L"\\", L"x"}},
        {L"a;b $(id) `id` | > * ~ #c", {L"a;b", L"$(id)", L"`id`", L"|", L">", L"*", L"~", L"#c"}},
        {L"caf\u00e9 \"\u65e5 \u672c\"", {L"caf\u00e9", L"\u65e5 \u672c"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(host::ToUtf8(c.line));
        std::wstring error;
        const std::optional<Words> words = host::SplitCommandWords(c.line, &error);
        ASSERT_TRUE(words) << host::ToUtf8(error);
        EXPECT_EQ(*words, c.words);
    }
}

TEST(CommandWords, RefusesUnterminatedQuotesAndATrailingBackslash) {
    for (const wchar_t* line : {L"a 'b", L"a \"b", L"\"a\\\"", L"a \\", L"'", L"\"a'b"}) {
        SCOPED_TRACE(host::ToUtf8(line));
        std::wstring error;
        EXPECT_FALSE(host::SplitCommandWords(line, &error));
        EXPECT_FALSE(error.empty());
    }
}
