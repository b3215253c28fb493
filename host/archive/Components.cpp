#include "host/archive/Components.h"

#include "host/archive/FASService.h"

namespace host {

namespace {

constexpr HostComponent kRows[] = {
    {L"FASService", &CreateFASService},
};

} // namespace

std::span<const HostComponent> ArchiveComponents() { return kRows; }

} // namespace host
