// Reading the settings a scheme is given through put_Parameters, by name.
#pragma once

#include <optional>
#include <string>

#include "sdk/Framework.h"

namespace host {

// The value of the parameter of that name, or null when there is none.
IPtr<IVariant> NamedSetting(IParameters* parameters, const wchar_t* name);

// The text of a string setting; nothing when it is absent or not a text.
std::optional<std::wstring> TextSetting(IParameters* parameters, const wchar_t* name);

} // namespace host
