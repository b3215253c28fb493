#include "cli/Text.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cwctype>

#include "host/text/Utf8.h"

namespace cli {

std::optional<std::wstring> FromUtf8(std::string_view text) { return host::FromStrictUtf8(text); }

std::string ToUtf8(std::wstring_view text) { return host::ToUtf8(text); }

namespace {
wchar_t FoldAscii(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c; }
} // namespace

bool EqualsAsciiBlind(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
    return true;
}

bool EqualsCaseBlind(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::towlower(static_cast<wint_t>(a[i])) != std::towlower(static_cast<wint_t>(b[i]))) return false;
    return true;
}

std::optional<int32_t> ParseInteger(std::wstring_view text) {
    size_t i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == L'-' || text[i] == L'+')) negative = text[i++] == L'-';
    if (i == text.size()) return std::nullopt;
    int64_t value = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < L'0' || text[i] > L'9') return std::nullopt;
        value = value * 10 + (text[i] - L'0');
        if (value > static_cast<int64_t>(INT32_MAX) + 1) return std::nullopt;
    }
    if (negative) value = -value;
    if (value < INT32_MIN || value > INT32_MAX) return std::nullopt;
    return static_cast<int32_t>(value);
}

std::optional<double> ParseDouble(std::wstring_view text) {
    // Only plain decimal forms: no blanks, no hexadecimal, no infinities.
    if (text.empty()) return std::nullopt;
    for (wchar_t c : text) {
        bool allowed = (c >= L'0' && c <= L'9') || c == L'.' || c == L'-' || c == L'+' || c == L'e' || c == L'E';
        if (!allowed) return std::nullopt;
    }
    std::string narrow = ToUtf8(text);
    errno = 0;
    char* end = nullptr;
    double value = std::strtod(narrow.c_str(), &end);
    if (end != narrow.c_str() + narrow.size() || errno == ERANGE) return std::nullopt;
    return value;
}

std::vector<std::wstring> SplitAt(std::wstring_view text, wchar_t separator) {
    std::vector<std::wstring> parts;
    if (text.empty()) return parts;
    size_t start = 0;
    for (;;) {
        size_t at = text.find(separator, start);
        if (at == std::wstring_view::npos) {
            parts.emplace_back(text.substr(start));
            return parts;
        }
        parts.emplace_back(text.substr(start, at - start));
        start = at + 1;
    }
}

std::string Join(const std::vector<std::wstring>& items, std::string_view separator) {
    std::string out;
    for (size_t i = 0; i < items.size(); ++i) {
        if (i) out += separator;
        out += ToUtf8(items[i]);
    }
    return out;
}

} // namespace cli
