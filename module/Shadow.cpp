// The module's entry points: the host collection it keeps, the component
// registry, and its path to host services and sibling modules.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "module/Module.h"
#include "module/Object.h"
#include "module/RegistryRow.h"
#include "components/STREAMConvert.h"
#include "components/STRINGConvert.h"
#include "components/ShadowImpl.h"
#include "components/ShadowList.h"
#include "components/ShadowSelective.h"
#include "components/ShadowUpload.h"
#include "components/ShadowVelmix.h"
#include "components/ShadowVelmixList.h"
#include "components/URLGet.h"

// Null until the host calls InitializeModule; released at unload.
IPtr<IComponentCollection> gGlobalComponentCollection;

CREFString gDefaultURL(L"http://downloads.example.com/downloads/Velmix/");

extern "C" HRESULT InitializeModule(void* reserved, IComponentCollection* collection) {
    (void)reserved;
    if (collection) collection->AddRef();
    IComponentCollection* old = gGlobalComponentCollection.Detach();
    if (old) old->Release();
    gGlobalComponentCollection.Attach(collection);
    return S_OK;
}

namespace {

// One row of the component registry: a component name and its creator.
struct ComponentRow {
    const tagREFString* name;
    CreatorFunction creator;
};

// The registry, searched in this order; the first row whose name matches
// wins. The rows, as each component arrives:
//   "Shadow"            CShadow
//   "ShadowList"        CShadowList
//   "ShadowVelmixList"  CShadowVelmixList
//   "ShadowVelmix"      CShadowVelmix
//   "ShadowList"        CShadowVelmix's creator; never reached, since the
//                       second row already answers "ShadowList", but kept
//                       where it stands so the order stays as it is. It
//                       comes with the real "ShadowList" row and not
//                       before: alone it would make "ShadowList" create a
//                       packager
//   "ShadowSelective"   CShadowSelective
//   "ShadowUpload"      CShadowUpload
//   "STREAMConvert"     CSTREAMConvert
//   "STRINGConvert"     CSTRINGConvert
//   "URLGet"            CURLGet
constexpr ComponentRow kComponents[] = {
    {&IObjectInfoImpl<CShadow>::m_ObjectName, &CObject<CShadow>::_CreateInstance},
    {&IObjectInfoImpl<CShadowList>::m_ObjectName, &CObject<CShadowList>::_CreateInstance},
    {&IObjectInfoImpl<CShadowVelmixList>::m_ObjectName, &CObject<CShadowVelmixList>::_CreateInstance},
    {&IObjectInfoImpl<CShadowVelmix>::m_ObjectName, &CObject<CShadowVelmix>::_CreateInstance},
    // Never reached: the second row answers "ShadowList" first; kept so the order stays as it is.
    {&IObjectInfoImpl<CShadowList>::m_ObjectName, &CObject<CShadowVelmix>::_CreateInstance},
    {&IObjectInfoImpl<CShadowSelective>::m_ObjectName, &CObject<CShadowSelective>::_CreateInstance},
    {&IObjectInfoImpl<CShadowUpload>::m_ObjectName, &CObject<CShadowUpload>::_CreateInstance},
    {&IObjectInfoImpl<CSTREAMConvert>::m_ObjectName, &CObject<CSTREAMConvert>::_CreateInstance},
    {&IObjectInfoImpl<CSTRINGConvert>::m_ObjectName, &CObject<CSTRINGConvert>::_CreateInstance},
    {&IObjectInfoImpl<CURLGet>::m_ObjectName, &CObject<CURLGet>::_CreateInstance},
};

} // namespace

extern "C" HRESULT CreateFunction(int32_t length, const wchar_t* name, CreatorFunction* creator) {
    if (!creator) return E_POINTER;
    // Length-then-content tests, one row after the other.
    for (const ComponentRow& row : kComponents)
        if (MODULERegistryRow(*row.name, row.creator, length, name, creator)) return S_OK;
    return E_FAIL;
}

CreatorFunction MODULECreateFunction(tagREFString module, tagREFString component) {
    static constexpr char kPrefix[] = "./_binARM64/";
    static constexpr size_t kPrefixLength = sizeof kPrefix - 1;
    char path[4096] = {};
    const size_t bytes = module.m_Length > 0 && module.m_pString ? static_cast<size_t>(module.m_Length) : 0;
    std::memcpy(path, kPrefix, kPrefixLength);
    if (kPrefixLength + bytes + sizeof ".so" > sizeof path) {
        std::printf("Module not available %s, error %s\n", kPrefix, "module name too long");
        return nullptr;
    }
    // The conversion writes at most one byte per character here; ".so"
    // goes right after the prefix and that many bytes, whatever it wrote.
    if (bytes) std::wcstombs(path + kPrefixLength, module.m_pString, bytes);
    std::memcpy(path + kPrefixLength + bytes, ".so", sizeof ".so");

    // The handle is never closed: the module stays loaded for the life of
    // the process.
    void* library = dlopen(path, RTLD_NOW);
    if (!library) {
        std::printf("Module not available %s, error %s\n", path, dlerror());
        dlerror();
        return nullptr;
    }
    auto create = reinterpret_cast<CreateFunctionFunction>(dlsym(library, "CreateFunction"));
    auto initialize = reinterpret_cast<InitializeModuleFunction>(dlsym(library, "InitializeModule"));
    if (!create) return nullptr;
    // The sibling shares this module's host collection.
    if (initialize && gGlobalComponentCollection) initialize(nullptr, gGlobalComponentCollection.Get());
    CreatorFunction creator = nullptr;
    create(component.m_Length, component.m_pString, &creator);
    return creator;
}

IComponentCollection* GLOBALComponents() {
    if (!gGlobalComponentCollection) {
        // Stand-alone use: no host called InitializeModule, so make the
        // global collection from the collection module.
        CreatorFunction creator =
            MODULECreateFunction(REFLiteral(L"CollectionsEx"), REFLiteral(L"GlobalComponentCollection"));
        if (creator) {
            IID iid = IPtr<IComponentCollection>::Id();
            IPtr<IComponentCollection> made;
            creator(nullptr, &iid, made.OutVoid());
            gGlobalComponentCollection = std::move(made);
        }
    }
    IComponentCollection* collection = gGlobalComponentCollection.Get();
    if (collection) collection->AddRef();
    return collection;
}

IUnknown* CreateObject(tagREFString name, IID* iid) {
    IPtr<IComponentCollection> collection = IPtr<IComponentCollection>::Adopt(GLOBALComponents());
    if (!collection) return nullptr;
    void* out = nullptr;
    collection->CreateComponent(name, iid, &out);
    return static_cast<IUnknown*>(out);
}
