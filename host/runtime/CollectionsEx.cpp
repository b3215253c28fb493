// The exported entry points of CollectionsEx.so. A host (or a module that
// bootstraps its own host services) asks it for the global component
// collection or for a component string; every other host component is made
// through the collection.
#include <string_view>

#include "host/runtime/ComponentString.h"
#include "host/runtime/GlobalComponentCollection.h"

namespace {

HRESULT MakeGlobalCollection(void*, IID* iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    return host::GlobalCollection()->QueryInterface(iid ? *iid : IID_IUnknown, out);
}

HRESULT MakeComponentString(void*, IID* iid, void** out) { return host::CreateComponentString(iid, out); }

struct Entry {
    std::wstring_view name;
    CreatorFunction creator;
};

constexpr Entry kEntries[] = {
    {L"GlobalComponentCollection", &MakeGlobalCollection},
    {L"ComponentString", &MakeComponentString},
};

} // namespace

// Exported whatever the library's default visibility (see CollectionsEx.map).
extern "C" __attribute__((visibility("default"))) HRESULT InitializeModule(void*, IComponentCollection* collection) {
    host::GlobalCollection()->SetOuterCollection(collection);
    return S_OK;
}

// Length-then-content match, case-sensitive; the name need not be
// terminated. Unknown names give E_FAIL and leave the slot untouched.
extern "C" __attribute__((visibility("default"))) HRESULT CreateFunction(int32_t length, const wchar_t* name,
                                                                          CreatorFunction* slot) {
    if (length <= 0 || !name) return E_FAIL;
    const std::wstring_view wanted(name, static_cast<size_t>(length));
    for (const Entry& e : kEntries) {
        if (e.name.size() == wanted.size() && e.name == wanted) {
            if (!slot) return E_POINTER;
            *slot = e.creator;
            return S_OK;
        }
    }
    return E_FAIL;
}
