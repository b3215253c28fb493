// Texts of the transfer family for people: a system error number in words
// (a URL as it may be shown is sdk/UrlText.h).
#pragma once

#include <string>

namespace host {

// The system's words for an errno value, starting in lower case
// ("no space left on device"); thread-safe.
std::wstring ErrnoText(int error);

} // namespace host
