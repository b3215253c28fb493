#include "host/values/CreatableString.h"


namespace host {

HRESULT CreatableString::GetString(tagREFString* view) {
    if (!view) return E_POINTER;
    view->m_Length = static_cast<int32_t>(m_text.size());
    view->m_pString = m_text.data();
    return S_OK;
}

HRESULT FixedString::GetString(tagREFString* view) {
    if (!view) return E_POINTER;
    view->m_Length = static_cast<int32_t>(m_text.size());
    view->m_pString = m_text.data();
    return S_OK;
}

HRESULT CreatableString::SetString(const wchar_t* text, int32_t length) {
    if (!text) {
        m_text.clear();
        return S_OK;
    }
    if (length < 0) return E_INVALIDARG;
    // The source may point into our own buffer: build the copy first.
    std::wstring copy(text, static_cast<size_t>(length));
    m_text.swap(copy);
    return S_OK;
}

HRESULT CreatableString::Append(const wchar_t* text, int32_t length) {
    if (length < 0) return E_INVALIDARG;
    if (length == 0) return S_OK;
    if (!text) return E_POINTER;
    std::wstring tail(text, static_cast<size_t>(length));
    m_text.append(tail);
    return S_OK;
}

HRESULT CreateCreatableString(const IID* iid, void** out) {
    return CreateHostComponent<CreatableString>(iid, out);
}

} // namespace host
