#include "host/os/CommandWords.h"

namespace host {

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\n'; }

// The characters a backslash escapes inside double quotes.
bool EscapedInDoubleQuotes(wchar_t c) { return c == L'"' || c == L'\\' || c == L'$' || c == L'`' || c == L'\n'; }

std::nullopt_t Fail(std::wstring* error, const wchar_t* reason) {
    if (error) *error = reason;
    return std::nullopt;
}

} // namespace

std::optional<std::vector<std::wstring>> SplitCommandWords(std::wstring_view line, std::wstring* error) {
    std::vector<std::wstring> words;
    std::wstring word;
    bool inWord = false; // a word has started, even if it is still empty ("")
    size_t i = 0;
    const size_t end = line.size();
    while (i < end) {
        const wchar_t c = line[i++];
        if (IsBlank(c)) {
            if (inWord) words.push_back(std::move(word));
            word.clear();
            inWord = false;
        } else if (c == L'\'') {
            const size_t close = line.find(L'\'', i);
            if (close == std::wstring_view::npos) return Fail(error, L"a single quote is not closed");
            word.append(line.substr(i, close - i));
            i = close + 1;
            inWord = true;
        } else if (c == L'"') {
            for (;;) {
                if (i == end) return Fail(error, L"a double quote is not closed");
                const wchar_t d = line[i++];
                if (d == L'"') break;
                if (d == L'\\' && i < end && EscapedInDoubleQuotes(line[i])) {
                    if (line[i] != L'\n') word.push_back(line[i]);
                    ++i;
                } else {
                    word.push_back(d);
                }
            }
            inWord = true;
        } else if (c == L'\\') {
            if (i == end) return Fail(error, L"a backslash ends the line with nothing to escape");
            const wchar_t next = line[i++];
            if (next == L'\n') continue; // a joined line, not a character
            word.push_back(next);
            inWord = true;
        } else {
            word.push_back(c);
            inWord = true;
        }
    }
    if (inWord) words.push_back(std::move(word));
    return words;
}

} // namespace host
