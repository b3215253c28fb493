// The sides the `upload`, `sync` and `fas` commands name: a local folder or
// a URL.
// A URL never carries a password on the command line (it would show in
// process listings and shell histories); the transfer schemes read it from
// ~/.netrc.
#pragma once

#include <string>

#include "cli/HostRuntime.h"

namespace cli {

// True when `text` is a URL ("scheme://..."), not a folder.
bool IsUrl(const std::string& text);

// A URL as it is, or a folder as an absolute path. Throws a usage error for
// a URL with a password or an empty text; `what` names the argument.
std::string SideArgument(const std::string& text, const char* what);

// Throws a usage error unless `name` is a file name relative to a side: not
// empty, not absolute, no empty, "." or ".." parts.
void CheckRelativeName(const std::string& name, const char* what);

// The transfer scheme that reaches a side (as SideArgument gives it), its
// location given as "HOSTNAME": "URLFile" for folders and file:// URLs,
// "URLhttp" for every other URL (http(s) with WebDAV, ftp(s), sftp).
IPtr<IFileArchiveScheme> SideScheme(const HostRuntime& runtime, const std::string& side);

} // namespace cli
