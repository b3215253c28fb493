// The rows of the host runtime's component tables. Each family lists the
// components it offers in a table of its own (host/<family>/Components.cpp);
// host/Components.cpp joins the tables in a fixed order, and the global
// component collection creates components by name from the joined table.
#pragma once

#include <span>

#include "sdk/Framework.h"

namespace host {

// Makes a new instance and returns the interface asked for (IUnknown when
// iid is null), with one reference.
using HostCreator = HRESULT (*)(const IID* iid, void** out);

struct HostComponent {
    const wchar_t* name;
    HostCreator creator;
};

// Every component the runtime offers, in table order.
std::span<const HostComponent> HostComponents();

// Adds a component after the tables' own, for tests that need one of their
// own made by name. Not thread-safe: call it before the runtime is in use.
void AddHostComponentForTesting(HostComponent row);

// The creator of the component of exactly this name, or null.
HostCreator FindHostComponent(tagREFString name);

} // namespace host
