// The text transforms "UnicodeGB2312" and "ASCIIStream": one component
// class over a codec row. Transform reads text from the source (see
// TextStreams.h), encodes it and appends the bytes to the target;
// TransformBack reads bytes, decodes them and appends the text (TEXT_WIDE:
// 32-bit characters, else UTF-8). The whole result is built before anything
// is written, so a failed call leaves the target as it was; it returns
// E_FAIL and writes the reason to "EventLogGlobal" under the component's
// name. Calls keep no state: an instance may be used from several threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/base/HostObject.h"
#include "host/text/TextCodecError.h"

namespace host {

// What distinguishes one text transform from the other. Both functions see
// the caller's option word; TEXT_WIDE belongs to the writer, not to them.
struct TextCodec {
    const wchar_t* name;
    std::optional<std::string> (*encode)(std::wstring_view text, int32_t options, TextCodecError& error);
    std::optional<std::wstring> (*decode)(std::string_view bytes, int32_t options, TextCodecError& error);
};

class TextTransform final : public HostObject<IStreamTransform> {
public:
    explicit TextTransform(const TextCodec& codec) : m_codec(codec) {}

    HRESULT Transform(IDataStream* source, IDataStream* target, int32_t options) override;
    HRESULT TransformBack(IDataStream* source, IDataStream* target, int32_t options) override;

private:
    const TextCodec& m_codec; // a row of static storage
};

// The codec rows, beside their codecs.
extern const TextCodec kUnicodeGb2312Codec;
extern const TextCodec kAsciiStreamCodec;

HRESULT CreateUnicodeGb2312(const IID* iid, void** out);
HRESULT CreateAsciiStream(const IID* iid, void** out);

} // namespace host
