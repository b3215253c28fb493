// The host's global component collection: one per process. Its items are
// component strings named after every creatable component: the built-in
// components of the host runtime from the start, and components of loaded
// modules once they have been asked for by name.
#pragma once

#include <mutex>
#include <string>
#include <unordered_map>

#include "host/collections/ItemCollection.h"

namespace host {

class GlobalComponentCollection final : public HostObject<IComponentCollection> {
public:
    GlobalComponentCollection();

    // ---- ISimpleCollection, INamedCollection: the component strings
    HRESULT get_Count(int32_t* count) override { return m_items->get_Count(count); }
    HRESULT get_Item(int32_t index, IUnknown** item) override { return m_items->get_Item(index, item); }
    HRESULT get_Index(IUnknown* key, int32_t* index) override { return m_items->get_Index(key, index); }
    HRESULT get_ItemName(int32_t index, IString** name) override { return m_items->get_ItemName(index, name); }
    // Components keep the names they are created by: renaming is refused
    // with E_FAIL.
    HRESULT Rename(int32_t index, IString* name) override;
    HRESULT CollectionLock() override { return m_items->CollectionLock(); }
    HRESULT CollectionUnlock() override { return m_items->CollectionUnlock(); }
    HRESULT IsCollectionLocked() override { return m_items->IsCollectionLocked(); }

    // ---- IComponentCollection
    // Names match exactly (case matters), as the modules' own CreateFunction
    // does. E_FAIL for an unknown name.
    HRESULT CreateComponent(tagREFString name, const IID* iid, void** out) override;
    HRESULT LoadModule(tagREFString module) override;

    // The collection that an outer host handed to InitializeModule, kept as
    // the last place to look for components that nobody here makes.
    void SetOuterCollection(IComponentCollection* outer);

private:
    // The component string of the name, resolving and adding it when a
    // loaded module makes it; null when unknown.
    IPtr<IComponentString> Resolve(const std::wstring& name);
    void Register(const std::wstring& name, const std::wstring& module);

    IPtr<ItemCollectionImpl<>> m_items;
    std::recursive_mutex m_mutex; // guards m_byExactName and m_outer
    std::unordered_map<std::wstring, IPtr<IComponentString>> m_byExactName;
    IPtr<IComponentCollection> m_outer;
};

// The process's global component collection (borrowed; it lives until the
// process ends).
GlobalComponentCollection* GlobalCollection();

} // namespace host
