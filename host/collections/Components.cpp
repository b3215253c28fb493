#include "host/collections/Components.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateSuperCollection(const IID* iid, void** out);
HRESULT CreateStringCollection(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"SuperCollection", &CreateSuperCollection},
    {L"StringCollection", &CreateStringCollection},
};

} // namespace

std::span<const HostComponent> CollectionsComponents() { return kRows; }

} // namespace host
