#include "host/os/Components.h"

#include "host/os/OSUtils.h"

namespace host {

namespace {

constexpr HostComponent kRows[] = {
    {L"OSUtils", &CreateOSUtils},
};

} // namespace

std::span<const HostComponent> OSComponents() { return kRows; }

} // namespace host
