#include "host/text/FileNameEncoding.h"

#include <cstdint>

#include "host/text/Utf8.h"

namespace host {

namespace {

constexpr wchar_t kEscapeBase = 0xDC00;

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
        AppendUtf8(out, cp);
    }
}

std::string FileNameToBytes(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    AppendFileNameBytes(text, out);
    return out;
}

} // namespace host
