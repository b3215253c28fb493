#include "host/transform/TextTransform.h"

#include "host/transform/TextStreams.h"

namespace host {

HRESULT TextTransform::Transform(IDataStream* source, IDataStream* target, int32_t options) {
    std::string reason;
    const auto fail = [&] { return ReportTransformFailure(m_codec.name, "Transform failed: " + reason); };
    if (!source || !target) return reason = "a stream is missing", fail();
    std::optional<std::wstring> text = ReadSourceText(source, reason);
    if (!text) return fail();
    TextCodecError error;
    std::optional<std::string> bytes = m_codec.encode(*text, options, error);
    if (!bytes) return reason = error.reason, fail();
    if (!WriteTargetBytes(target, *bytes, reason)) return fail();
    return S_OK;
}

HRESULT TextTransform::TransformBack(IDataStream* source, IDataStream* target, int32_t options) {
    std::string reason;
    const auto fail = [&] { return ReportTransformFailure(m_codec.name, "TransformBack failed: " + reason); };
    if (!source || !target) return reason = "a stream is missing", fail();
    std::optional<std::string> bytes = ReadSourceBytes(source, reason);
    if (!bytes) return fail();
    TextCodecError error;
    std::optional<std::wstring> text = m_codec.decode(*bytes, options, error);
    if (!text) return reason = error.reason, fail();
    if (!WriteTargetText(target, *text, (options & TEXT_WIDE) != 0, reason)) return fail();
    return S_OK;
}

HRESULT CreateUnicodeGb2312(const IID* iid, void** out) {
    return CreateHostComponent<TextTransform>(iid, out, kUnicodeGb2312Codec);
}

HRESULT CreateAsciiStream(const IID* iid, void** out) {
    return CreateHostComponent<TextTransform>(iid, out, kAsciiStreamCodec);
}

} // namespace host
