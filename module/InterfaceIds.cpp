// Interface identifiers: the name packing and the identifier globals, which
// are filled while the module loads.
#include "sdk/InterfaceIds.h"

#include <cstring>

IID __IIDOfc(const char* name) {
    IID result{};
    size_t n = std::strlen(name);
    if (n == 0) return result;
    // Names are packed from a scratch copy of at most 256 characters.
    unsigned char scratch[256] = {};
    std::memcpy(scratch, name, n < sizeof scratch ? n : sizeof scratch);
    if (n > 25) n = 25;

    unsigned char bytes[16 + 1] = {}; // one spare byte for the 16-bit OR
    int index = 0;
    int shift = 0;
    for (size_t i = 0; i < n; ++i) {
        unsigned c = scratch[i];
        unsigned code;
        if (c >= 'A' && c <= 'Z') code = c - 0x40;
        else if (c >= 'a' && c <= 'z') code = c - 0x60;
        else if (c >= '0' && c <= '4') code = c - 0x14; // "4" needs six bits: 32
        else code = 27;
        // OR into the little-endian 16-bit word that starts at the byte index.
        unsigned word = code << shift;
        bytes[index] |= static_cast<unsigned char>(word & 0xFF);
        bytes[index + 1] |= static_cast<unsigned char>(word >> 8);
        shift += 5;
        if (shift > 7) {
            ++index;
            shift -= 8;
        }
    }
    std::memcpy(&result, bytes, sizeof result);
    return result;
}

bool __IIDEqual(const IID* a, const IID* b) {
    uint32_t wa[4], wb[4];
    std::memcpy(wa, a, sizeof wa);
    std::memcpy(wb, b, sizeof wb);
    for (int i = 0; i < 4; ++i)
        if (wa[i] != wb[i]) return false;
    return true;
}

const IID IID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
const IID IID_IUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

#define SHADOW_IID(name) IID IID_##name;
#include "sdk/InterfaceNames.inc"
#undef SHADOW_IID

namespace {
// Fills the name-derived identifiers, in list order, before any call.
struct InterfaceIdInitialiser {
    InterfaceIdInitialiser() {
#define SHADOW_IID(name) IID_##name = __IIDOfc(#name);
#include "sdk/InterfaceNames.inc"
#undef SHADOW_IID
    }
} gInterfaceIdInitialiser;
} // namespace
