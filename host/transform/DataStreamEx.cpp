#include "host/transform/DataStreamEx.h"

#include "host/runtime/EventLogLine.h"
#include "host/streams/DataStream.h"
#include "host/text/Utf8.h"
#include "host/transform/StreamLayers.h"
#include "host/transform/TransformSettings.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

using transform::LayerError;

HRESULT Fail(IUnknown** result, const std::string& reason) {
    if (result) *result = nullptr;
    WriteEventLogError(L"DataStreamEx", FromUtf8(reason));
    return E_FAIL;
}

} // namespace

HRESULT DataStreamEx::TransformObject(IUnknown* source, IUnknown** result, int32_t reserved, int32_t options) {
    if (!result) return E_POINTER;
    *result = nullptr;
    if (reserved != 0) return Fail(result, "TransformObject: the reserved argument must be 0");
    if (IPtr<IDataStream> stream = QueryAs<IDataStream>(source)) return TransformStream(stream.Get(), result, options);
    IPtr<IDataPersist> persist = QueryAs<IDataPersist>(source);
    if (!persist)
        return Fail(result, source ? "the object to transform is neither a data stream nor an object that saves itself"
                                   : "there is no object to transform");
    IPtr<IDataStream> saved = NewDataStream({});
    if (!saved || FAILED(persist->Save(saved.Get(), 0)))
        return Fail(result, "the object to transform could not be saved into a data stream");
    return TransformStream(saved.Get(), result, options);
}

HRESULT DataStreamEx::TransformStream(IDataStream* source, IUnknown** result, int32_t options) {
    return Run(source, result, options, false);
}

HRESULT DataStreamEx::RevertStream(IDataStream* source, IUnknown** result, int32_t options) {
    return Run(source, result, options, true);
}

HRESULT DataStreamEx::put_Key(IString* key) {
    std::string text = key ? ToUtf8(ToWide(key)) : std::string();
    std::lock_guard<std::mutex> guard(m_mutex);
    if (text.empty()) m_key.reset();
    else m_key = std::move(text);
    return S_OK;
}

HRESULT DataStreamEx::Run(IDataStream* source, IUnknown** result, int32_t options, bool revert) {
    if (!result) return E_POINTER;
    *result = nullptr;
    if (!source) return Fail(result, "there is no stream to transform");
    void* data = nullptr;
    unsigned long size = 0;
    if (FAILED(source->GetStream(&data, &size)) || (!data && size != 0))
        return Fail(result, "the stream to transform cannot be read");
    transform::LayerSettings settings;
    LayerError error;
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        settings.key = m_key;
    }
    if (!settings.key) settings.key = transform::ConfiguredKey();
    settings.maxIterations = transform::kMaxIterations;
    if (!transform::ConfiguredIterations(settings.iterations, error) ||
        !transform::ConfiguredInflateLimit(settings.inflateLimit, error))
        return Fail(result, error.reason);
    const std::string_view input(static_cast<const char*>(data), size);
    const transform::LayerPlan plan = transform::PlanFromOptions(options);
    std::string output;
    const bool ok = revert ? transform::RevertLayers(input, plan, settings, output, error)
                           : transform::ApplyLayers(input, plan, settings, output, error);
    if (!ok) return Fail(result, (revert ? "revert: " : "transform: ") + error.reason);
    // The result becomes the stream's content as it is: no copy.
    IPtr<IDataStream> stream = AdoptDataStream(std::move(output));
    if (!stream) return Fail(result, "no memory for the result stream");
    *result = stream.Detach();
    return S_OK;
}

HRESULT CreateDataStreamEx(const IID* iid, void** out) { return CreateHostComponent<DataStreamEx>(iid, out); }

} // namespace host
