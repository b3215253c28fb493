#include "host/base/ComponentRegistry.h"

#include <string_view>

namespace host {

HostCreator FindHostComponent(tagREFString name) {
    if (name.m_Length <= 0 || !name.m_pString) return nullptr;
    const std::wstring_view wanted(name.m_pString, static_cast<size_t>(name.m_Length));
    for (const HostComponent& c : HostComponents())
        if (std::wstring_view(c.name) == wanted) return c.creator;
    return nullptr;
}

} // namespace host
