#include "host/streams/DocumentBytes.h"

namespace host {

HRESULT DocumentBytes::Create(SerialisedDocument& doc, void* buffer, unsigned long size) {
    m_hasSnapshot = false;
    m_snapshot.Assign({});
    if (buffer && size) {
        m_input.assign(static_cast<const char*>(buffer), size);
    } else {
        m_input.clear();
        doc.Clear();
    }
    return S_OK;
}

HRESULT DocumentBytes::Reset(SerialisedDocument& doc, bool clear) {
    if (clear) {
        m_input.clear();
        doc.Clear();
    }
    return m_snapshot.Reset(false);
}

HRESULT DocumentBytes::Seek(SerialisedDocument& doc, long offset, unsigned int origin, unsigned long* position,
                            std::string& error) {
    HRESULT hr = Sync(doc, error);
    return FAILED(hr) ? hr : m_snapshot.Seek(offset, origin, position);
}

HRESULT DocumentBytes::GetStream(SerialisedDocument& doc, void** data, unsigned long* size, std::string& error) {
    HRESULT hr = Sync(doc, error);
    return FAILED(hr) ? hr : m_snapshot.GetStream(data, size);
}

HRESULT DocumentBytes::Read(SerialisedDocument& doc, void* data, unsigned int size, unsigned int* read,
                            std::string& error) {
    if (read) *read = 0;
    HRESULT hr = Sync(doc, error);
    return FAILED(hr) ? hr : m_snapshot.Read(data, size, read);
}

HRESULT DocumentBytes::Write(const void* data, unsigned int size, unsigned int* written) {
    if (written) *written = 0;
    if (!data && size) return E_POINTER;
    m_input.append(static_cast<const char*>(data), size);
    if (written) *written = size;
    return S_OK;
}

HRESULT DocumentBytes::TakeInput(SerialisedDocument& doc, std::string& error) {
    if (m_input.empty()) return S_OK;
    std::string input;
    input.swap(m_input);
    return doc.Replace(input, error) ? S_OK : E_FAIL;
}

HRESULT DocumentBytes::Sync(SerialisedDocument& doc, std::string& error) {
    HRESULT hr = TakeInput(doc, error);
    if (FAILED(hr)) return hr;
    if (!m_hasSnapshot || m_snapshotRevision != doc.Revision()) {
        m_snapshot.Assign(doc.Serialise());
        m_snapshotRevision = doc.Revision();
        m_hasSnapshot = true;
    }
    return S_OK;
}

} // namespace host
