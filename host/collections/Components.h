// The components of the collections family, as rows of the runtime's table
// (host/Components.cpp).
#pragma once

#include <span>

#include "host/base/ComponentRegistry.h"

namespace host {

std::span<const HostComponent> CollectionsComponents();

} // namespace host
