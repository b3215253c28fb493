#include "host/text/Escapes.h"

#include <cstdint>

namespace host {

namespace {

// The value of a hex digit, or -1.
int HexValue(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

bool IsCodePoint(uint32_t c) { return c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF); }

// The character of a one-letter escape, or -1.
int32_t NamedEscape(wchar_t letter) {
    switch (letter) {
    case L'n': return L'\n';
    case L't': return L'\t';
    case L'r': return L'\r';
    case L'0': return 0;
    case L'\\': return L'\\';
    case L'"': return L'"';
    case L'\'': return L'\'';
    case L'a': return L'\a';
    case L'b': return L'\b';
    case L'f': return L'\f';
    case L'v': return L'\v';
    default: return -1;
    }
}

void AppendHex(std::wstring& out, uint32_t value, int minDigits) {
    static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    wchar_t digits[8];
    int count = 0;
    do {
        digits[count++] = kDigits[value & 0xF];
        value >>= 4;
    } while (value != 0 || count < minDigits);
    while (count > 0) out += digits[--count];
}

} // namespace

std::optional<std::wstring> DecodeEscapes(std::wstring_view text, TextCodecError& error) {
    std::wstring out;
    out.reserve(text.size());
    const auto fail = [&](size_t at, const char* what) {
        error = {at, std::string(what) + " at character " + std::to_string(at)};
        return std::nullopt;
    };
    size_t i = 0;
    while (i < text.size()) {
        if (text[i] != L'\\') {
            out += text[i++];
            continue;
        }
        const size_t start = i;
        if (++i == text.size()) return fail(start, "a lone backslash ends the text");
        const wchar_t letter = text[i++];
        if (const int32_t named = NamedEscape(letter); named >= 0) {
            out += static_cast<wchar_t>(named);
        } else if (letter == L'x') {
            uint32_t value = 0;
            int digits = 0;
            for (; digits < 2 && i < text.size() && HexValue(text[i]) >= 0; ++digits)
                value = value * 16 + static_cast<uint32_t>(HexValue(text[i++]));
            if (digits == 0) return fail(start, "\\x without hex digits");
            out += static_cast<wchar_t>(value);
        } else if (letter == L'u') {
            if (i == text.size() || text[i] != L'{') return fail(start, "\\u without {");
            ++i;
            uint32_t value = 0;
            int digits = 0;
            for (; i < text.size() && HexValue(text[i]) >= 0; ++digits, ++i)
                if (digits < 6) value = value * 16 + static_cast<uint32_t>(HexValue(text[i]));
            if (digits == 0) return fail(start, "\\u{} without hex digits");
            if (digits > 6) return fail(start, "\\u{...} with more than six hex digits");
            if (i == text.size() || text[i] != L'}') return fail(start, "\\u{... without }");
            ++i;
            if (!IsCodePoint(value)) return fail(start, "\\u{...} that names no code point");
            out += static_cast<wchar_t>(value);
        } else {
            return fail(start, "an unknown escape");
        }
    }
    return out;
}

std::wstring EncodeEscapes(std::wstring_view text) {
    std::wstring out;
    out.reserve(text.size());
    for (wchar_t w : text) {
        const uint32_t c = static_cast<uint32_t>(w);
        switch (c) {
        case L'\n': out += L"\\n"; continue;
        case L'\t': out += L"\\t"; continue;
        case L'\r': out += L"\\r"; continue;
        case L'\\': out += L"\\\\"; continue;
        default: break;
        }
        if (c < 0x20 || c == 0x7F) {
            out += L"\\x";
            AppendHex(out, c, 2);
        } else if (c > 0x7E) {
            out += L"\\u{";
            AppendHex(out, IsCodePoint(c) ? c : 0xFFFD, 1);
            out += L'}';
        } else {
            out += w;
        }
    }
    return out;
}

} // namespace host
