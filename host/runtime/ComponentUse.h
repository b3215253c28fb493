// The components this process has made by name, each with the module that
// provides it, in the order of their first use. Every instance made through
// a component string counts, and so every instance the global component
// collection makes (it makes them through its component strings); host code
// that calls a built-in creator directly is not counted. A use is noted when
// the instance has been made: a component whose creator makes others by
// name comes after them.
//
// A built-in component of the host runtime is provided by "CollectionsEx";
// any other by the module name its component string holds (a bare name or
// a path, as the module was loaded). Safe from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

struct ComponentUse {
    std::wstring component;
    std::wstring module;
};

// Notes one use; a component and module already noted are not noted again.
void NoteComponentUse(std::wstring_view component, std::wstring_view module);

// The uses noted so far, from the `first` one on.
std::vector<ComponentUse> ComponentsInUse(size_t first = 0);

// Changes whenever the record is emptied: a component string that noted its
// use under one generation notes it again under the next.
uint64_t ComponentUseGeneration();

// Forgets every use noted so far, so a test starts from none.
void ForgetComponentUseForTesting();

} // namespace host
