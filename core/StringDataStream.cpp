#include "core/StringDataStream.h"

#include <cstdint>
#include <utility>

CStringDataStream::CStringDataStream(IString* text, int16_t withholdString, IDataStream* inner,
                                     std::unique_ptr<uint8_t[]> buffer)
    : m_String(text), m_WithholdString(withholdString), m_Buffer(std::move(buffer)), m_Inner(inner) {}

CStringDataStream::~CStringDataStream() {
    m_String.Release();
    // The inner stream may still point into the buffer: it goes first.
    m_Inner.Release();
    m_Buffer.reset();
}

HRESULT CStringDataStream::QueryInterface(const IID& iid, void** out) {
    if (!out) return E_POINTER;
    if (__IIDEqual(&iid, &IID_IDataStream) || __IIDEqual(&iid, &IID_IUnknown)) {
        *out = static_cast<IDataStream*>(this);
        return S_OK;
    }
    if (__IIDEqual(&iid, &IID_IString) && m_WithholdString == 0 && m_String) {
        m_String->AddRef();
        *out = m_String.Get();
        return S_OK;
    }
    return E_NOINTERFACE;
}

HRESULT CStringDataStream::Create(void* buffer, unsigned long size, short growable) {
    return m_Inner->Create(buffer, size, growable);
}

HRESULT CStringDataStream::Reset(short clear) { return m_Inner->Reset(clear); }

HRESULT CStringDataStream::Seek(long offset, unsigned int origin, unsigned long* position) {
    return m_Inner->Seek(offset, origin, position);
}

HRESULT CStringDataStream::GetStream(void** data, unsigned long* size) { return m_Inner->GetStream(data, size); }

HRESULT CStringDataStream::Read(void* data, unsigned int size, unsigned int* read) {
    return m_Inner->Read(data, size, read);
}

HRESULT CStringDataStream::Write(const void* data, unsigned int size, unsigned int* written) {
    return m_Inner->Write(data, size, written);
}

HRESULT STREAMWriteText(IDataStream* stream, const tagREFString& text) {
    if (!stream) return E_POINTER;
    if (text.m_Length <= 0 || !text.m_pString) return S_OK;
    static_assert(sizeof(wchar_t) == 4, "text is written as 32-bit characters");
    if (static_cast<uint64_t>(text.m_Length) > UINT32_MAX / sizeof(wchar_t)) return E_INVALIDARG;
    const auto bytes = static_cast<unsigned int>(text.m_Length) * sizeof(wchar_t);
    unsigned int written = 0;
    return stream->Write(text.m_pString, bytes, &written);
}
