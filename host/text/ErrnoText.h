// A system error number in words, thread-safe (strerror_r), as wide text.
#pragma once

#include <string>

namespace host {

// As the system writes it: "No such file or directory".
std::wstring SystemErrorText(int error);

// Starting in lower case, to follow a colon in a sentence: "no space left
// on device".
std::wstring ErrnoText(int error);

} // namespace host
