#include "host/os/Components.h"

namespace host {

// The family's rows arrive with its components.
std::span<const HostComponent> OSComponents() { return {}; }

} // namespace host
