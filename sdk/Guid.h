// Interface identifiers: 16 bytes, compared as a whole. Apart from IID_NULL
// and IID_IUnknown every identifier is derived from the interface's ASCII
// name, so that every party that knows a name computes the same value.
#pragma once

#include <cstdint>
#include <cstring>

struct IID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
static_assert(sizeof(IID) == 16, "IID must be 16 bytes");

// Computes the identifier of a zero-terminated interface name.
IID __IIDOfc(const char* name);

// True when all 16 bytes are equal (compared as four 32-bit words).
bool __IIDEqual(const IID* a, const IID* b);

inline bool operator==(const IID& a, const IID& b) { return __IIDEqual(&a, &b); }
inline bool operator!=(const IID& a, const IID& b) { return !__IIDEqual(&a, &b); }
