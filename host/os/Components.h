// The components of the os family, as rows of the runtime's table
// (host/Components.cpp).
#pragma once

#include <span>

#include "host/base/ComponentRegistry.h"

namespace host {

std::span<const HostComponent> OSComponents();

} // namespace host
