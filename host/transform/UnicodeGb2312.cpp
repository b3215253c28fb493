// "UnicodeGB2312": text to GB2312 bytes, and GB2312 (or GBK, GB18030) bytes
// back to text. The option word does not change the coding.
#include "host/text/Gb2312.h"
#include "host/transform/TextTransform.h"

namespace host {

namespace {

std::optional<std::string> Encode(std::wstring_view text, int32_t, TextCodecError& error) {
    return EncodeGb2312(text, error);
}

std::optional<std::wstring> Decode(std::string_view bytes, int32_t, TextCodecError& error) {
    return DecodeGb18030(bytes, error);
}

} // namespace

const TextCodec kUnicodeGb2312Codec{L"UnicodeGB2312", &Encode, &Decode};

} // namespace host
