// "DataStream": an in-memory byte stream (the rules are ByteBuffer's).
#pragma once

#include "host/base/HostObject.h"
#include "host/streams/ByteBuffer.h"

namespace host {

class DataStream final : public HostObject<IDataStream> {
public:
    DataStream() = default;

    HRESULT Create(void* buffer, unsigned long size, short growable) override;
    HRESULT Reset(short clear) override;
    HRESULT Seek(long offset, unsigned int origin, unsigned long* position) override;
    HRESULT GetStream(void** data, unsigned long* size) override;
    HRESULT Read(void* data, unsigned int size, unsigned int* read) override;
    HRESULT Write(const void* data, unsigned int size, unsigned int* written) override;

private:
    ByteBuffer m_bytes;
};

HRESULT CreateDataStream(const IID* iid, void** out);

// A new "DataStream" holding a copy of `bytes`, positioned at the start.
IPtr<IDataStream> NewDataStream(std::string_view bytes);

} // namespace host
