#include "host/ui/VerbCollection.h"

#include "host/values/HostStrings.h"

namespace host {

HRESULT VerbCollection::get_Count(int32_t* count) {
    if (!count) return E_POINTER;
    std::lock_guard<std::mutex> guard(m_lock);
    *count = static_cast<int32_t>(m_verbs.size());
    return S_OK;
}

HRESULT VerbCollection::get_Item(int32_t index, IUnknown** item) {
    if (!item) return E_POINTER;
    *item = nullptr;
    IPtr<IString> text;
    HRESULT hr = get_Verb(index, text.Out(), nullptr);
    if (FAILED(hr)) return hr;
    return text->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(item));
}

HRESULT VerbCollection::AddVerb(IString* text, int32_t code) {
    std::wstring copy = ToWide(text);
    std::lock_guard<std::mutex> guard(m_lock);
    m_verbs.push_back({std::move(copy), code});
    return S_OK;
}

HRESULT VerbCollection::get_Verb(int32_t index, IString** text, int32_t* code) {
    Verb verb;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (index < 0 || static_cast<size_t>(index) >= m_verbs.size()) return E_INVALIDARG;
        verb = m_verbs[static_cast<size_t>(index)];
    }
    if (text) {
        IPtr<IString> made = MakeString(verb.text);
        if (!made) return E_FAIL;
        *text = made.Detach();
    }
    if (code) *code = verb.code;
    return S_OK;
}

HRESULT CreateVerbCollection(const IID* iid, void** out) { return CreateHostComponent<VerbCollection>(iid, out); }

} // namespace host
