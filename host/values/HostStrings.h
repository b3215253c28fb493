// Small helpers of the host runtime for making and reading host strings and
// variants, and the UTF-8 conversion that the host uses for file names and
// file contents.
#pragma once

#include <string>
#include <string_view>

#include "host/text/Utf8.h"
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

} // namespace host
