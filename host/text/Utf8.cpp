#include "host/text/Utf8.h"

namespace host {

namespace {
constexpr char32_t kReplacement = 0xFFFD;

void AppendCodePoint(std::string& out, char32_t c) {
    if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) c = kReplacement;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}
} // namespace

std::string ToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t c : text) AppendCodePoint(out, static_cast<char32_t>(static_cast<uint32_t>(c)));
    return out;
}

size_t DecodeUtf8Char(std::string_view bytes, char32_t& c) {
    if (bytes.empty()) return 0;
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned char b0 = byte(0);
    if (b0 < 0x80) {
        c = b0;
        return 1;
    }
    size_t length;
    char32_t least;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
        length = 2, c = b0 & 0x1Fu, least = 0x80;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        length = 3, c = b0 & 0x0Fu, least = 0x800;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        length = 4, c = b0 & 0x07u, least = 0x10000;
    } else {
        return 0;
    }
    if (bytes.size() < length) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0u) != 0x80u) return 0;
        c = (c << 6) | (byte(i) & 0x3Fu);
    }
    if (c < least || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return 0;
    return length;
}

std::wstring FromUtf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    size_t i = 0;
    const size_t n = text.size();
    while (i < n) {
        const unsigned char b = static_cast<unsigned char>(text[i]);
        if (b < 0x80) {
            out += static_cast<wchar_t>(b);
            ++i;
            continue;
        }
        int extra;
        char32_t c;
        char32_t least;
        if (b >= 0xC2 && b <= 0xDF) {
            extra = 1, c = b & 0x1F, least = 0x80;
        } else if (b >= 0xE0 && b <= 0xEF) {
            extra = 2, c = b & 0x0F, least = 0x800;
        } else if (b >= 0xF0 && b <= 0xF4) {
            extra = 3, c = b & 0x07, least = 0x10000;
        } else {
            out += static_cast<wchar_t>(kReplacement);
            ++i;
            continue;
        }
        size_t j = i + 1;
        int taken = 0;
        while (taken < extra && j < n && (static_cast<unsigned char>(text[j]) & 0xC0) == 0x80) {
            c = (c << 6) | (static_cast<unsigned char>(text[j]) & 0x3F);
            ++j;
            ++taken;
        }
        // A truncated or over-long sequence, a surrogate or a value past the
        // last code point is one replacement for the bytes consumed.
        if (taken < extra || c < least || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            c = kReplacement;
        out += static_cast<wchar_t>(c);
        i = j;
    }
    return out;
}

std::optional<std::wstring> FromStrictUtf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    while (!text.empty()) {
        char32_t c = 0;
        const size_t used = DecodeUtf8Char(text, c);
        if (used == 0) return std::nullopt;
        out.push_back(static_cast<wchar_t>(c));
        text.remove_prefix(used);
    }
    return out;
}

void AppendUtf8(std::string& out, char32_t c) { AppendCodePoint(out, c); }

} // namespace host
