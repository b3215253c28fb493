// Saving and loading a component's parameters in an XML file, through the
// host's "XMLStream" and the component's own persistence.
#pragma once

#include <string>

#include "sdk/Framework.h"

namespace cli {

class HostRuntime;

// Loads the parameters that the file names; parameters the file does not
// mention keep their values. A missing or unreadable file is a usage error.
void LoadParameterFile(const HostRuntime& runtime, IUnknown* component, const std::string& path);

// Writes the component's parameters to the file (replacing it); throws a
// failure when it cannot be written.
void SaveParameterFile(const HostRuntime& runtime, IUnknown* component, const std::string& path);

} // namespace cli
