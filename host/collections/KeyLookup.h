// The key rules shared by the host's parameter and input collections: a key
// is a name (a string, or a variant holding a string), an index (a variant
// holding a number, taken as it is without a range check) or an object
// (looked up by identity).
#pragma once

#include <string>
#include <string_view>

#include "sdk/Framework.h"

namespace host {

// Equal when of the same length and equal after folding the ASCII capitals
// 'A'..'Z' to lower case; no other character is folded.
bool AsciiEqualNoCase(std::wstring_view a, std::wstring_view b);

struct LookupKey {
    enum class Kind { None, Index, Name, Object };
    Kind kind = Kind::None;
    int32_t index = -1;
    std::wstring name;
    // Compared by identity; held so that it stays alive during the lookup.
    IPtr<IUnknown> object;
};

// True when both point at the same object: the same pointer, or the same
// IUnknown of the object.
bool SameObject(IUnknown* a, IUnknown* b);

// Sorts a key into one of the kinds above. A null key and an empty variant
// name nothing (Kind::None).
LookupKey ClassifyKey(IUnknown* key);

} // namespace host
