// How the host writes values, flag words and interface identifiers as text
// in its saved settings, and reads them back.
#pragma once

#include <string>
#include <string_view>

#include "sdk/Framework.h"

namespace host {

// The text of a value: a string as it is, an integer in decimal, a double
// in the shortest form that reads back to the same number, an object by the
// name it gives through IObjectInfo (empty without one); empty for null or
// an empty variant.
std::wstring VariantText(IVariant* value);

// A variant of the type the text looks like: an optional "-" and decimal
// digits that fit in 32 bits give an integer; such digits with one "." give
// a double; anything else (including the empty text) is kept as a string,
// unchanged.
IPtr<IVariant> VariantFromText(std::wstring_view text);

// A flags word as "#" and upper-case hexadecimal, at least six digits.
std::wstring FlagsText(int32_t flags);
// Reads "#" followed by hexadecimal digits, or a decimal number; what cannot
// be read gives 0.
int32_t FlagsFromText(std::wstring_view text);

// An interface identifier as {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.
std::wstring IidText(const IID& iid);
// False (and *iid unchanged) when the text is not in that form.
bool IidFromText(std::wstring_view text, IID* iid);

} // namespace host
