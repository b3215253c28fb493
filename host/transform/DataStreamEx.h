// "DataStreamEx": the stream transformer (IDataStreamEx, sdk/Transforms.h).
// It reads the source's content once as one block (GetStream), runs the
// layers of StreamLayers.h over it and hands out a new "DataStream" holding
// the result, positioned at its start.
//
// The key is the text given with put_Key, else the setting "Key" of the
// section "DataStreamEx" (TransformSettings.h), read at each call; an empty
// key counts as none. Calls may come from several threads; the key is
// guarded by the object's mutex and copied before a transform runs.
//
// Every failure hands out nothing, returns E_FAIL and writes one line to
// "EventLogGlobal" with the title "DataStreamEx" (never the key).
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "host/base/HostObject.h"

namespace host {

class DataStreamEx final : public HostObject<IDataStreamEx> {
public:
    DataStreamEx() = default;

    // A data stream is transformed as one; an object answering IDataPersist
    // is saved (Save(stream, 0)) into a new data stream first.
    HRESULT TransformObject(IUnknown* source, IUnknown** result, int32_t reserved, int32_t options) override;
    HRESULT TransformStream(IDataStream* source, IUnknown** result, int32_t options) override;
    // With STREAM_AUTO_HEADER the header in front of the content decides the
    // layers and the other bits are ignored; without it the bits decide and
    // the content is read as it is (a header there is content).
    HRESULT RevertStream(IDataStream* source, IUnknown** result, int32_t options) override;
    HRESULT put_Key(IString* key) override;

private:
    HRESULT Run(IDataStream* source, IUnknown** result, int32_t options, bool revert);

    std::mutex m_mutex;
    std::optional<std::string> m_key; // UTF-8
};

HRESULT CreateDataStreamEx(const IID* iid, void** out);

} // namespace host
