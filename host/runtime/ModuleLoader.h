// Loading of component modules into the host process. Modules are opened
// once, initialised with the global component collection, and never closed:
// objects they made may live until the process ends.
#pragma once

#include <string>
#include <string_view>

#include "sdk/Framework.h"

namespace host {

// The file of a module: "./_binARM64/<name>.so" for a bare name, the name
// itself when it holds a "/".
std::string ModulePath(std::wstring_view name);

// True for the names under which the host runtime itself is known as a
// module: empty, "Collections" and "CollectionsEx".
bool IsHostModuleName(std::wstring_view name);

// Opens the module (once per process) and calls its InitializeModule with
// `collection`. E_FAIL when it cannot be opened or has no CreateFunction;
// LastModuleError() then tells why.
HRESULT LoadComponentModule(std::wstring_view name, IComponentCollection* collection);

// The creator of `component` made by the loaded modules, asked in load
// order; `module` receives the name the module was loaded under. Null when
// no loaded module makes it.
CreatorFunction FindModuleCreator(std::wstring_view component, std::wstring* module);

// The creator of `component` from the named module, loading the module with
// `collection` first when needed. Null when either is missing.
CreatorFunction ModuleCreator(std::wstring_view module, std::wstring_view component, IComponentCollection* collection);

// The text of the last failed module load in this process (empty if none).
// It is also offered as the host component "ModuleLoadError" (an IString),
// for hosts that reach the runtime through its exported entry points only.
std::wstring LastModuleError();

} // namespace host
