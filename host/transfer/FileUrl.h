// The local path a name given to "URLFile" stands for:
//   - "file:///abs/path" and "file://localhost/abs/path" (the host compared
//     case-blind), the path percent-decoded; a URL naming any other host is
//     refused, and so are a bad escape and an escaped NUL;
//   - "/abs/path" as it is;
//   - a relative name under `base` (itself a path or a file:// URL; the
//     "HOSTNAME" setting), else under the current folder.
// Paths are the file system's bytes (FileNameEncoding.h); nothing is decoded
// in a plain path.
#pragma once

#include <string>
#include <string_view>

namespace host {

// The path, or false and why not (a text for people, naming the URL).
bool LocalPathOfName(std::wstring_view name, std::wstring_view base, std::string& path, std::wstring& why);

} // namespace host
