#include "host/text/Gb2312.h"

#include <cstdint>

#include "host/text/Iconv.h"

namespace host {

namespace {

std::string_view AsBytes(std::wstring_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

bool InRange(unsigned char b, unsigned char low, unsigned char high) { return b >= low && b <= high; }

std::optional<std::string> Fail(TextCodecError& error, size_t position, std::string reason) {
    error = {position, std::move(reason)};
    return std::nullopt;
}

} // namespace

std::optional<std::string> EncodeGb2312(std::wstring_view text, TextCodecError& error) {
    Iconv encoder("GB18030", "WCHAR_T");
    Iconv cells("WCHAR_T", "GB2312");
    if (!encoder.Valid() || !cells.Valid())
        return Fail(error, 0, "the system has no GB18030 or GB2312 conversion (iconv)");

    // GB18030 writes each character as one unit of 1, 2 or 4 bytes.
    std::string bytes(text.size() * 4, '\0');
    const Iconv::Result done = encoder.Convert(AsBytes(text), bytes.data(), bytes.size());
    if (done.error != 0) {
        const size_t at = done.consumed / sizeof(wchar_t);
        const uint32_t c = at < text.size() ? static_cast<uint32_t>(text[at]) : 0;
        return Fail(error, at, CodePointText(c) + " at character " + std::to_string(at) + " is no character");
    }
    bytes.resize(done.produced);

    // Keep the units that are GB2312 cells: ASCII, or two bytes 0xA1-0xFE
    // that the GB2312 table defines.
    size_t offset = 0;
    for (size_t index = 0; index < text.size(); ++index) {
        const auto byte = [&](size_t i) { return static_cast<unsigned char>(bytes[offset + i]); };
        if (byte(0) < 0x80) {
            offset += 1;
            continue;
        }
        // A second byte 0x30-0x39 starts a four-byte unit: never a cell.
        bool cell = InRange(byte(0), 0xA1, 0xFE) && InRange(byte(1), 0xA1, 0xFE);
        if (cell) {
            wchar_t decoded = 0;
            cell = cells.Convert(std::string_view(bytes).substr(offset, 2), reinterpret_cast<char*>(&decoded),
                                 sizeof decoded)
                       .error == 0;
        }
        if (!cell)
            return Fail(error, index,
                        CodePointText(static_cast<uint32_t>(text[index])) + " at character " +
                            std::to_string(index) + " has no GB2312 form");
        offset += 2;
    }
    return bytes;
}

std::optional<std::wstring> DecodeGb18030(std::string_view bytes, TextCodecError& error) {
    Iconv decoder("WCHAR_T", "GB18030");
    if (!decoder.Valid()) {
        error = {0, "the system has no GB18030 conversion (iconv)"};
        return std::nullopt;
    }
    // Every character takes at least one byte.
    std::wstring text(bytes.size(), L'\0');
    const Iconv::Result done =
        decoder.Convert(bytes, reinterpret_cast<char*>(text.data()), text.size() * sizeof(wchar_t));
    if (done.error != 0) {
        error = {done.consumed, done.error == EINVAL
                                    ? "a GB18030 sequence is cut short at byte " + std::to_string(done.consumed)
                                    : "no valid GB18030 sequence at byte " + std::to_string(done.consumed)};
        return std::nullopt;
    }
    text.resize(done.produced / sizeof(wchar_t));
    return text;
}

} // namespace host
