#include "host/text/FileNameEncoding.h"

#include <cstdint>

#include "host/values/HostStrings.h"

namespace host {

namespace {

constexpr wchar_t kEscapeBase = 0xDC00;
constexpr wchar_t kReplacement = 0xFFFD;

} // namespace

void AppendFileNameWide(std::string_view bytes, std::wstring& out) {
    while (!bytes.empty()) {
        char32_t cp = 0;
        size_t used = DecodeUtf8Char(bytes, cp);
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
