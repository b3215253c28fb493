// The built-in components of the host runtime. Each host source file
// registers its components by name at load time with HOST_COMPONENT; the
// global component collection creates them by name.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "sdk/Framework.h"

namespace host {

// Makes a new instance and returns the interface asked for (IUnknown when
// iid is null), with one reference.
using HostCreator = HRESULT (*)(const IID* iid, void** out);

struct HostComponent {
    std::wstring name;
    HostCreator creator;
};

// Registered components, in registration order.
const std::vector<HostComponent>& HostComponents();

// The creator of the component of exactly this name, or null.
HostCreator FindHostComponent(tagREFString name);

struct HostComponentRegistration final {
    HostComponentRegistration(const wchar_t* name, HostCreator creator);
};

} // namespace host

#define HOST_COMPONENT_CONCAT2(a, b) a##b
#define HOST_COMPONENT_CONCAT(a, b) HOST_COMPONENT_CONCAT2(a, b)
// Registers a built-in component: HOST_COMPONENT(L"Variant", &CreateVariant);
#define HOST_COMPONENT(name, creator)                                                      \
    static const ::host::HostComponentRegistration HOST_COMPONENT_CONCAT(gHostComponent, \
                                                                         __LINE__)(name, creator)
