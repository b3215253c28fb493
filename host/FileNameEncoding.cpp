#include "host/FileNameEncoding.h"

#include <cstdint>

namespace host {

namespace {

constexpr wchar_t kEscapeBase = 0xDC00;
constexpr wchar_t kReplacement = 0xFFFD;

// Length of the valid UTF-8 sequence at the start of `s` and its code point
// in `cp`, or 0 when the first byte does not start a valid sequence.
size_t DecodeOne(std::string_view s, char32_t& cp) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(s[i]); };
    const uint8_t b0 = byte(0);
    if (b0 < 0x80) {
        cp = b0;
        return 1;
    }
    size_t length;
    char32_t min;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
        length = 2, cp = b0 & 0x1Fu, min = 0x80;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        length = 3, cp = b0 & 0x0Fu, min = 0x800;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        length = 4, cp = b0 & 0x07u, min = 0x10000;
    } else {
        return 0; // continuation byte, overlong lead C0/C1, or F5..FF
    }
    if (s.size() < length) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0u) != 0x80u) return 0;
        cp = (cp << 6) | (byte(i) & 0x3Fu);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    return length;
}

} // namespace

void AppendFileNameWide(std::string_view bytes, std::wstring& out) {
    while (!bytes.empty()) {
        char32_t cp = 0;
        size_t used = DecodeOne(bytes, cp);
        if (used == 0) {
            out.push_back(static_cast<wchar_t>(kEscapeBase + static_cast<uint8_t>(bytes[0])));
            used = 1;
        } else {
            out.push_back(static_cast<wchar_t>(cp));
        }
        bytes.remove_prefix(used);
    }
}

std::wstring FileNameToWide(std::string_view bytes) {
    std::wstring out;
    out.reserve(bytes.size());
    AppendFileNameWide(bytes, out);
    return out;
}

void AppendFileNameBytes(std::wstring_view text, std::string& out) {
    // Runs of ASCII, the usual case for paths, are copied in one go.
    size_t ascii = 0;
    while (ascii < text.size() && static_cast<uint32_t>(text[ascii]) < 0x80) ++ascii;
    if (ascii > 0) {
        const size_t start = out.size();
        out.resize(start + ascii);
        for (size_t i = 0; i < ascii; ++i) out[start + i] = static_cast<char>(text[i]);
        text.remove_prefix(ascii);
    }
    for (wchar_t w : text) {
        auto cp = static_cast<uint32_t>(w);
        if (cp >= 0xDC80 && cp <= 0xDCFF) {
            out.push_back(static_cast<char>(cp - kEscapeBase));
            continue;
        }
        if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) cp = kReplacement;
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
}

std::string FileNameToBytes(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    AppendFileNameBytes(text, out);
    return out;
}

} // namespace host
