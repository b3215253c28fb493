#include "host/runtime/ModuleLoader.h"

#include <dlfcn.h>

#include <mutex>
#include <vector>

#include "host/values/CreatableString.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

struct LoadedModule {
    std::wstring name;
    void* handle;
    CreateFunctionFunction create;
};

struct ModuleTable {
    // Recursive: a module's InitializeModule may create components through
    // the collection, which asks this table again on the same thread.
    std::recursive_mutex mutex;
    std::vector<LoadedModule> modules;
    std::wstring lastError;
};

ModuleTable& Table() {
    // Never destroyed: modules stay loaded, and threads still running at
    // exit may create components.
    static ModuleTable* table = new ModuleTable();
    return *table;
}

// Loads the module (or finds it loaded); null on failure. Called with the
// table's mutex held.
CreateFunctionFunction LoadLocked(ModuleTable& table, std::wstring_view name, IComponentCollection* collection) {
    const std::string path = ModulePath(name);
    dlerror();
    void* handle = dlopen(path.c_str(), RTLD_NOW);
    if (!handle) {
        const char* why = dlerror();
        table.lastError = L"Module not available " + FromUtf8(path) + L", error " + FromUtf8(why ? why : "unknown");
        return nullptr;
    }
    for (const LoadedModule& m : table.modules) {
        if (m.handle == handle) {
            dlclose(handle); // drop the count this open added; the first one stays
            return m.create;
        }
    }
    auto create = reinterpret_cast<CreateFunctionFunction>(dlsym(handle, "CreateFunction"));
    if (!create) {
        table.lastError = L"Module " + FromUtf8(path) + L" has no CreateFunction";
        dlclose(handle);
        return nullptr;
    }
    auto initialize = reinterpret_cast<InitializeModuleFunction>(dlsym(handle, "InitializeModule"));
    table.modules.push_back(LoadedModule{std::wstring(name), handle, create});
    if (initialize) initialize(nullptr, collection);
    return create;
}

CreatorFunction AskModule(CreateFunctionFunction create, std::wstring_view component) {
    CreatorFunction creator = nullptr;
    if (create(static_cast<int32_t>(component.size()), component.data(), &creator) != S_OK) return nullptr;
    return creator;
}

} // namespace

std::string ModulePath(std::wstring_view name) {
    if (name.find(L'/') != std::wstring_view::npos) return ToUtf8(name);
    return "./_binARM64/" + ToUtf8(name) + ".so";
}

bool IsHostModuleName(std::wstring_view name) {
    return name.empty() || name == L"Collections" || name == L"CollectionsEx";
}

HRESULT LoadComponentModule(std::wstring_view name, IComponentCollection* collection) {
    if (name.empty()) return E_INVALIDARG;
    ModuleTable& table = Table();
    std::lock_guard<std::recursive_mutex> lock(table.mutex);
    return LoadLocked(table, name, collection) ? S_OK : E_FAIL;
}

CreatorFunction FindModuleCreator(std::wstring_view component, std::wstring* module) {
    if (component.empty()) return nullptr;
    ModuleTable& table = Table();
    std::lock_guard<std::recursive_mutex> lock(table.mutex);
    // By index: a module's CreateFunction could load further modules.
    for (size_t i = 0; i < table.modules.size(); ++i) {
        const LoadedModule m = table.modules[i];
        if (CreatorFunction creator = AskModule(m.create, component)) {
            if (module) *module = m.name;
            return creator;
        }
    }
    return nullptr;
}

CreatorFunction ModuleCreator(std::wstring_view module, std::wstring_view component, IComponentCollection* collection) {
    if (module.empty() || component.empty()) return nullptr;
    ModuleTable& table = Table();
    std::lock_guard<std::recursive_mutex> lock(table.mutex);
    CreateFunctionFunction create = LoadLocked(table, module, collection);
    return create ? AskModule(create, component) : nullptr;
}

std::wstring LastModuleError() {
    ModuleTable& table = Table();
    std::lock_guard<std::recursive_mutex> lock(table.mutex);
    return table.lastError;
}

HRESULT CreateModuleLoadError(const IID* iid, void** out) {
    return CreateHostComponent<CreatableString>(iid, out, LastModuleError());
}

} // namespace host
