#include "host/files/Components.h"

namespace host {

// Defined beside the component each one makes.
HRESULT CreateFileNameCollection(const IID* iid, void** out);
HRESULT CreateExtCollection(const IID* iid, void** out);

namespace {

constexpr HostComponent kRows[] = {
    {L"FileNameCollection", &CreateFileNameCollection},
    {L"ExtCollection", &CreateExtCollection},
};

} // namespace

std::span<const HostComponent> FilesComponents() { return kRows; }

} // namespace host
