#include "host/settings/Components.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateRegistry(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"Registry", &CreateRegistry},
};

} // namespace

std::span<const HostComponent> SettingsComponents() { return kRows; }

} // namespace host
