#include "host/runtime/Components.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateModuleLoadError(const IID* iid, void** out);
HRESULT CreateGlobalCollection(const IID* iid, void** out);
HRESULT CreateComponentString(const IID* iid, void** out);
HRESULT CreateActiveWorkspace(const IID* iid, void** out);
HRESULT CreateActiveComponentCollection(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"ModuleLoadError", &CreateModuleLoadError},
    {L"GlobalComponentCollection", &CreateGlobalCollection},
    {L"ComponentString", &CreateComponentString},
    {L"ActiveWorkspace", &CreateActiveWorkspace},
    {L"ActiveComponentCollection", &CreateActiveComponentCollection},
};

} // namespace

std::span<const HostComponent> RuntimeComponents() { return kRows; }

} // namespace host
