#include "host/runtime/GlobalComponentCollection.h"

#include "host/runtime/ComponentString.h"
#include "host/runtime/ModuleLoader.h"

namespace host {

namespace {
// True while this thread asks the outer collection, so that two collections
// that fall back on each other cannot recurse without end.
thread_local bool tAskingOuter = false;

} // namespace

GlobalComponentCollection::GlobalComponentCollection() {
    IPtr<ISuperCollection> items = NewCollection();
    m_items.Reset(static_cast<ItemCollectionImpl<>*>(items.Get()));
    for (const HostComponent& c : HostComponents()) Register(c.name, L"CollectionsEx");
}

void GlobalComponentCollection::Register(const std::wstring& name, const std::wstring& module) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (m_byExactName.count(name)) return;
    IPtr<IComponentString> entry = NewComponentString(name, module);
    m_items->AppendItem(name, entry.Get());
    m_byExactName.emplace(name, std::move(entry));
}

HRESULT GlobalComponentCollection::Rename(int32_t, IString*) { return E_FAIL; }

IPtr<IComponentString> GlobalComponentCollection::Resolve(const std::wstring& name) {
    {
        std::lock_guard<std::recursive_mutex> lock(m_mutex);
        auto found = m_byExactName.find(name);
        if (found != m_byExactName.end()) return found->second;
    }
    // The modules are asked without our lock held: a module being loaded on
    // another thread may call back into this collection while it holds the
    // module table.
    if (FindHostComponent(tagREFString{static_cast<int32_t>(name.size()), const_cast<wchar_t*>(name.data())})) {
        // A built-in component registered after this collection was made
        // (by a shared object loaded later) is still built in.
        Register(name, L"CollectionsEx");
    } else {
        std::wstring module;
        if (!FindModuleCreator(name, &module)) return {};
        Register(name, module);
    }
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    return m_byExactName[name];
}

HRESULT GlobalComponentCollection::CreateComponent(tagREFString name, const IID* iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (name.m_Length <= 0 || !name.m_pString) return E_INVALIDARG;
    const std::wstring wanted(name.m_pString, static_cast<size_t>(name.m_Length));
    IPtr<IComponentString> entry = Resolve(wanted);
    if (!entry) {
        IPtr<IComponentCollection> outer;
        {
            std::lock_guard<std::recursive_mutex> lock(m_mutex);
            outer = m_outer;
        }
        if (!outer || outer.Get() == this || tAskingOuter) return E_FAIL;
        tAskingOuter = true;
        HRESULT hr = outer->CreateComponent(name, iid, out);
        tAskingOuter = false;
        return hr;
    }
    if (!iid) {
        *out = entry.Detach();
        return S_OK;
    }
    return entry->CreateInstance(iid, out);
}

HRESULT GlobalComponentCollection::LoadModule(tagREFString module) {
    if (module.m_Length <= 0 || !module.m_pString) return E_INVALIDARG;
    const std::wstring name(module.m_pString, static_cast<size_t>(module.m_Length));
    if (IsHostModuleName(name)) return S_OK; // that is this runtime itself
    return LoadComponentModule(name, this);
}

void GlobalComponentCollection::SetOuterCollection(IComponentCollection* outer) {
    IPtr<IComponentCollection> keep(outer);
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    std::swap(m_outer, keep);
    // `keep` now holds the previous collection; it is destroyed after the
    // guard, so that collection is released outside the lock.
}

GlobalComponentCollection* GlobalCollection() {
    // Made once and never destroyed: loaded modules keep pointers to it until
    // the process ends, and their static destructors may still release it.
    static GlobalComponentCollection* collection = new GlobalComponentCollection();
    return collection;
}

HRESULT CreateGlobalCollection(const IID* iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    return GlobalCollection()->QueryInterface(iid ? *iid : IID_IUnknown, out);
}

} // namespace host
