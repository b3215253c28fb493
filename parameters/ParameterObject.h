// One parameter of a component: name, value, descriptor and flags (the flag
// bits are in sdk/Parameters.h).
#pragma once

#include "sdk/Framework.h"

struct PARAMETEROBJECT final {
    IPtr<IString> m_pName;         // may be null; names are never checked
    IPtr<IVariant> m_pValue;       // the stored value
    IPtr<IUnknown> m_pDescriptor;  // choice list, bound input or nested settings; may be null
    int32_t m_Flags = 0;           // stored verbatim
};

// Orders two parameters by name: case-sensitive, by character code, a
// shorter prefix first (a null name sorts as an empty one).
int PARAMETERSCompareByName(const PARAMETEROBJECT* a, const PARAMETEROBJECT* b);
