// "StreamProbe": a small persistable component, registered only in the host
// test program, that saves a label, a number and optionally a child probe
// into XML and folder streams, and loads them back.
#pragma once

#include <string>

#include "host/base/HostObject.h"

namespace streamtest {

class StreamProbe final : public host::HostObject<IDataPersist, IObjectInfo> {
public:
    StreamProbe() = default;
    StreamProbe(std::wstring label, int32_t number) : label(std::move(label)), number(number) {}

    HRESULT GetName(int32_t, tagREFString* name) override;
    HRESULT Save(IDataStream* stream, int32_t options) override;
    HRESULT Load(IDataStream* stream, int32_t options) override;

    std::wstring label;
    int32_t number = 0;
    IPtr<IUnknown> child;
    // A probe whose label is this text refuses to save itself.
    static constexpr const wchar_t* kRefusingLabel = L"refuse to save";
    // Set by Load: which kind of stream it was given.
    std::wstring loadedFrom;
};

// A new probe, as IUnknown.
IPtr<IUnknown> NewProbe(std::wstring label, int32_t number, IUnknown* child = nullptr);

// The probe behind an object, or null.
StreamProbe* AsProbe(IUnknown* object);

} // namespace streamtest
