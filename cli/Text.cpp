#include "cli/Text.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cwctype>

namespace cli {

std::optional<std::wstring> FromUtf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        unsigned char lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            out.push_back(static_cast<wchar_t>(lead));
            ++i;
            continue;
        }
        int extra;
        uint32_t code;
        uint32_t minimum;
        if ((lead & 0xE0) == 0xC0) {
            extra = 1, code = lead & 0x1F, minimum = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            extra = 2, code = lead & 0x0F, minimum = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            extra = 3, code = lead & 0x07, minimum = 0x10000;
        } else {
            return std::nullopt;
        }
        if (i + static_cast<size_t>(extra) >= text.size()) return std::nullopt;
        for (int k = 1; k <= extra; ++k) {
            unsigned char next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return std::nullopt;
            code = (code << 6) | (next & 0x3F);
        }
        // Overlong forms, surrogates and values beyond Unicode are not text.
        if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return std::nullopt;
        out.push_back(static_cast<wchar_t>(code));
        i += static_cast<size_t>(extra) + 1;
    }
    return out;
}

std::string ToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t ch : text) {
        uint32_t c = static_cast<uint32_t>(ch);
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c <= 0x10FFFF) {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back('?');
        }
    }
    return out;
}

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
