#include "host/ComponentRegistry.h"

#include <algorithm>

namespace host {

namespace {
std::vector<HostComponent>& Registry() {
    static std::vector<HostComponent> components;
    return components;
}
} // namespace

const std::vector<HostComponent>& HostComponents() { return Registry(); }

HostCreator FindHostComponent(tagREFString name) {
    if (name.m_Length <= 0 || !name.m_pString) return nullptr;
    std::wstring_view wanted(name.m_pString, static_cast<size_t>(name.m_Length));
    for (const HostComponent& c : Registry())
        if (c.name == wanted) return c.creator;
    return nullptr;
}

HostComponentRegistration::HostComponentRegistration(const wchar_t* name, HostCreator creator) {
    Registry().push_back(HostComponent{name, creator});
}

} // namespace host
