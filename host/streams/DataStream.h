// "DataStream": an in-memory byte stream (the rules are ByteBuffer's).
#pragma once

#include <string>

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

    // Takes over `bytes` as the content, without a copy: the stream works
    // over them as over a caller's buffer (ByteBuffer's rules), so writes
    // within the content change it in place and growing it moves it to
    // storage of the stream's own.
    void Adopt(std::string&& bytes);

private:
    std::string m_adopted; // the block Adopt took over, while the stream may use it
    ByteBuffer m_bytes;
};

HRESULT CreateDataStream(const IID* iid, void** out);

// A new "DataStream" holding a copy of `bytes`, positioned at the start.
IPtr<IDataStream> NewDataStream(std::string_view bytes);
// A new "DataStream" whose content is `bytes`, taken over without a copy,
// positioned at the start.
IPtr<IDataStream> AdoptDataStream(std::string&& bytes);

} // namespace host
