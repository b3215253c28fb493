// The components of the archive family, as rows of the runtime's table
// (host/Components.cpp).
#pragma once

#include <span>

#include "host/base/ComponentRegistry.h"

namespace host {

std::span<const HostComponent> ArchiveComponents();

} // namespace host
