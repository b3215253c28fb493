// Small helpers of the host runtime for making and reading host strings and
// variants, and the UTF-8 conversion that the host uses for file names and
// file contents.
#pragma once

#include <string>
#include <string_view>

#include "sdk/Framework.h"

namespace host {

// A new host string holding `text`.
IPtr<IString> MakeString(std::wstring_view text);

// A new host string holding `text` for good: it cannot be changed.
IPtr<IString> MakeFixedString(std::wstring_view text);

// A new, empty, changeable host string.
IPtr<ICreatableString> NewString();

// The text of a host string; empty for null.
std::wstring ToWide(IString* text);

// A new, empty host variant.
IPtr<IVariant> NewVariant();

// Decodes the one strictly valid UTF-8 character at the start of `bytes`
// into `c`; returns its length, or 0 when the bytes there are not one (a
// stray continuation byte, an over-long form, a surrogate, a value past
// U+10FFFF or a cut sequence).
size_t DecodeUtf8Char(std::string_view bytes, char32_t& c);

// Standard UTF-8. Code points that cannot be encoded (surrogates, values
// above 0x10FFFF) and malformed input bytes become U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

} // namespace host
