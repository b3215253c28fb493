#include "host/runtime/ComponentString.h"

#include "host/runtime/ComponentUse.h"
#include "host/runtime/GlobalComponentCollection.h"
#include "host/runtime/ModuleLoader.h"

namespace host {

HRESULT ComponentString::SetField(int32_t field, tagREFString text) {
    if (text.m_Length < 0 || (text.m_Length > 0 && !text.m_pString)) return E_INVALIDARG;
    std::wstring value = text.m_Length > 0 ? std::wstring(text.m_pString, static_cast<size_t>(text.m_Length))
                                           : std::wstring();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_builtIn = nullptr;
    m_notedIn.store(0, std::memory_order_relaxed);
    switch (field) {
    case COMPONENT_FIELD_NAME: m_name.swap(value); return S_OK;
    case COMPONENT_FIELD_MODULE: m_module.swap(value); return S_OK;
    default: return E_INVALIDARG;
    }
}

HRESULT ComponentString::GetField(int32_t field, tagREFString* text) {
    if (!text) return E_POINTER;
    std::lock_guard<std::mutex> lock(m_mutex);
    std::wstring* value = field == COMPONENT_FIELD_NAME     ? &m_name
                          : field == COMPONENT_FIELD_MODULE ? &m_module
                                                            : nullptr;
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
    HRESULT hr = E_FAIL;
    if (builtIn) {
        hr = builtIn(iid, out);
    } else if (!name.empty() && !IsHostModuleName(module)) {
        if (CreatorFunction creator = ModuleCreator(module, name, GlobalCollection())) {
            // Module creators take a changeable identifier; hand them a copy.
            IID wanted = iid ? *iid : IID_IUnknown;
            hr = creator(nullptr, &wanted, out);
        }
    }
    if (SUCCEEDED(hr) && *out) NoteUse();
    return hr;
}

void ComponentString::NoteUse() {
    // Only the first instance of each string takes the record's lock: host
    // code makes strings by the thousand through one component string.
    const uint64_t generation = ComponentUseGeneration();
    if (m_notedIn.exchange(generation, std::memory_order_relaxed) == generation) return;
    std::wstring name, module;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        name = m_name;
        module = m_module;
    }
    NoteComponentUse(name, module);
}

IPtr<IComponentString> NewComponentString(std::wstring name, std::wstring module) {
    IPtr<IComponentString> s;
    CreateHostComponent<ComponentString>(s, std::move(name), std::move(module));
    return s;
}

HRESULT CreateComponentString(const IID* iid, void** out) { return CreateHostComponent<ComponentString>(iid, out); }

} // namespace host
