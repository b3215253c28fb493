// The test behind each row of the module's component registry.
#pragma once

#include "sdk/Framework.h"

// One registry row: when the `length` characters at `name` are exactly the
// row's name (same length, same code points, case and spaces included),
// stores the row's creator in the slot and returns true; otherwise leaves
// the slot untouched and returns false.
inline bool MODULERegistryRow(const tagREFString& rowName, CreatorFunction rowCreator, int32_t length,
                              const wchar_t* name, CreatorFunction* slot) {
    if (length != rowName.m_Length || length <= 0 || !name) return false;
    for (int32_t i = 0; i < length; ++i)
        if (name[i] != rowName.m_pString[i]) return false;
    *slot = rowCreator;
    return true;
}
