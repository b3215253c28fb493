#include "host/runtime/ComponentString.h"

#include "host/runtime/GlobalComponentCollection.h"
#include "host/runtime/ModuleLoader.h"

namespace host {

HRESULT ComponentString::SetField(int32_t field, tagREFString text) {
    if (text.m_Length < 0 || (text.m_Length > 0 && !text.m_pString)) return E_INVALIDARG;
    std::wstring value = text.m_Length > 0 ? std::wstring(text.m_pString, static_cast<size_t>(text.m_Length))
                                           : std::wstring();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_builtIn = nullptr;
    switch (field) {
    case COMPONENT_FIELD_NAME: m_name.swap(value); return S_OK;
    case COMPONENT_FIELD_MODULE: m_module.swap(value); return S_OK;
    default: return E_INVALIDARG;
    }
}

HRESULT ComponentString::GetField(int32_t field, tagREFString* text) {
    if (!text) return E_POINTER;
    std::lock_guard<std::mutex> lock(m_mutex);
    std::wstring* value = field == COMPONENT_FIELD_NAME ? &m_name : field == COMPONENT_FIELD_MODULE ? &m_module : nullptr;
    if (!value) {
        *text = tagREFString{0, nullptr};
        return E_INVALIDARG;
    }
    text->m_Length = static_cast<int32_t>(value->size());
    text->m_pString = value->data();
    return S_OK;
}

HRESULT ComponentString::CreateInstance(const IID* iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    HostCreator builtIn = nullptr;
    std::wstring name, module;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_builtIn && !m_name.empty() && IsHostModuleName(m_module))
            m_builtIn = FindHostComponent(tagREFString{static_cast<int32_t>(m_name.size()), m_name.data()});
        builtIn = m_builtIn;
        if (!builtIn) {
            name = m_name;
            module = m_module;
        }
    }
    if (builtIn) return builtIn(iid, out);
    if (name.empty() || IsHostModuleName(module)) return E_FAIL;
    CreatorFunction creator = ModuleCreator(module, name, GlobalCollection());
    if (!creator) return E_FAIL;
    // Module creators take a changeable identifier; hand them a copy.
    IID wanted = iid ? *iid : IID_IUnknown;
    return creator(nullptr, &wanted, out);
}

IPtr<IComponentString> NewComponentString(std::wstring name, std::wstring module) {
    IPtr<IComponentString> s;
    CreateHostComponent<ComponentString>(s, std::move(name), std::move(module));
    return s;
}

HRESULT CreateComponentString(const IID* iid, void** out) { return CreateHostComponent<ComponentString>(iid, out); }

} // namespace host
