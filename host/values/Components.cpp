#include "host/values/Components.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateVariant(const IID* iid, void** out);
HRESULT CreateCreatableString(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"Variant", &CreateVariant},
    {L"CreatableString", &CreateCreatableString},
};

} // namespace

std::span<const HostComponent> ValuesComponents() { return kRows; }

} // namespace host
