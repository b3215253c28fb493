// "ASCIIStream": text to UTF-8 bytes and back. With TEXT_INTERPRET,
// encoding first reads the text's C escapes and decoding writes the text
// with escapes, so that the result is printable ASCII.
#include "host/text/Escapes.h"
#include "host/text/Utf8.h"
#include "host/transform/TextTransform.h"

namespace host {

namespace {

std::optional<std::string> Encode(std::wstring_view text, int32_t options, TextCodecError& error) {
    // UTF-8 has no form for what is no code point; refuse it rather than
    // write U+FFFD in its place.
    for (size_t i = 0; i < text.size(); ++i) {
        const uint32_t c = static_cast<uint32_t>(text[i]);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            error = {i, CodePointText(c) + " at character " + std::to_string(i) + " is no character"};
            return std::nullopt;
        }
    }
    if (!(options & TEXT_INTERPRET)) return ToUtf8(text);
    std::optional<std::wstring> interpreted = DecodeEscapes(text, error);
    if (!interpreted) return std::nullopt;
    return ToUtf8(*interpreted);
}

std::optional<std::wstring> Decode(std::string_view bytes, int32_t options, TextCodecError& error) {
    std::wstring text;
    text.reserve(bytes.size());
    for (size_t offset = 0; offset < bytes.size();) {
        char32_t c = 0;
        const size_t length = DecodeUtf8Char(bytes.substr(offset), c);
        if (length == 0) {
            error = {offset, "no valid UTF-8 sequence at byte " + std::to_string(offset)};
            return std::nullopt;
        }
        text += static_cast<wchar_t>(c);
        offset += length;
    }
    if (options & TEXT_INTERPRET) return EncodeEscapes(text);
    return text;
}

} // namespace

const TextCodec kAsciiStreamCodec{L"ASCIIStream", &Encode, &Decode};

} // namespace host
