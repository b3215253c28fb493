#include "host/streams/DataStream.h"


namespace host {

HRESULT DataStream::Create(void* buffer, unsigned long size, short growable) {
    HRESULT hr = m_bytes.Create(buffer, size, growable != 0);
    // The adopted block is no longer the content (unless handed back in).
    if (SUCCEEDED(hr) && buffer != m_adopted.data()) std::string().swap(m_adopted);
    return hr;
}

void DataStream::Adopt(std::string&& bytes) {
    m_adopted = std::move(bytes);
    m_bytes.Create(m_adopted.data(), static_cast<unsigned long>(m_adopted.size()), true);
}

HRESULT DataStream::Reset(short clear) { return m_bytes.Reset(clear != 0); }

HRESULT DataStream::Seek(long offset, unsigned int origin, unsigned long* position) {
    return m_bytes.Seek(offset, origin, position);
}

HRESULT DataStream::GetStream(void** data, unsigned long* size) { return m_bytes.GetStream(data, size); }

HRESULT DataStream::Read(void* data, unsigned int size, unsigned int* read) {
    return m_bytes.Read(data, size, read);
}

HRESULT DataStream::Write(const void* data, unsigned int size, unsigned int* written) {
    return m_bytes.Write(data, size, written);
}

HRESULT CreateDataStream(const IID* iid, void** out) { return CreateHostComponent<DataStream>(iid, out); }

IPtr<IDataStream> NewDataStream(std::string_view bytes) {
    IPtr<IDataStream> stream;
    if (FAILED(CreateDataStream(&IPtr<IDataStream>::Id(), stream.OutVoid()))) return {};
    unsigned int written = 0;
    if (!bytes.empty() && FAILED(stream->Write(bytes.data(), static_cast<unsigned int>(bytes.size()), &written)))
        return {};
    stream->Reset(0);
    return stream;
}

IPtr<IDataStream> AdoptDataStream(std::string&& bytes) {
    IPtr<IDataStream> stream;
    if (FAILED(CreateHostComponent<DataStream>(stream))) return {};
    static_cast<DataStream*>(stream.Get())->Adopt(std::move(bytes));
    return stream;
}

} // namespace host
