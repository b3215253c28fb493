// Helpers shared by every test of the host runtime.
#pragma once

#include <gtest/gtest.h>

#include "host/GlobalComponentCollection.h"
#include "host/HostStrings.h"

namespace hosttest {

// A component made by name through the global component collection, as the
// module makes its host services.
template <class I>
IPtr<I> Make(const wchar_t* component, const IID& iid) {
    IPtr<I> object;
    EXPECT_EQ(host::GlobalCollection()->CreateComponent(REFLiteral(component), &iid, object.OutVoid()), S_OK)
        << host::ToUtf8(component);
    return object;
}

} // namespace hosttest
