// "ComponentString": names one creatable component (field 1) and the module
// that makes it (field 4), and makes instances of it.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "host/base/ComponentRegistry.h"
#include "host/base/HostObject.h"

namespace host {

// A module field that is empty, "Collections" or "CollectionsEx" means a
// built-in component of the host runtime; any other module is loaded (once
// per process, initialised with the global component collection) and asked
// for the component by name.
class ComponentString final : public HostObject<IComponentString> {
public:
    ComponentString() = default;
    ComponentString(std::wstring name, std::wstring module) : m_name(std::move(name)), m_module(std::move(module)) {}

    // Fields other than 1 and 4 are refused with E_INVALIDARG. The text
    // returned by GetField stays valid until that field is set again.
    HRESULT SetField(int32_t field, tagREFString text) override;
    HRESULT GetField(int32_t field, tagREFString* text) override;
    // E_FAIL when the component is unknown or its module cannot be loaded.
    // Each instance made is a use of the component (ComponentUse.h).
    HRESULT CreateInstance(const IID* iid, void** out) override;

private:
    void NoteUse();

    std::mutex m_mutex;
    std::wstring m_name;
    std::wstring m_module;
    // The creator of a built-in component, found on first use and kept until
    // a field changes: host code makes strings by the thousand through one
    // component string.
    HostCreator m_builtIn = nullptr;
    // The generation of the use record (ComponentUse.h) under which this
    // string's component was noted as used; 0 when not noted, and again
    // after a field changes.
    std::atomic<uint64_t> m_notedIn{0};
};

IPtr<IComponentString> NewComponentString(std::wstring name, std::wstring module);
HRESULT CreateComponentString(const IID* iid, void** out);

} // namespace host
