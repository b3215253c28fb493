// Text files read and written as lines: the file form of the host's string
// collections and of the lists the runtime writes.
//
// Reading takes the file's bytes as UTF-8 (each sequence that is not valid
// becomes one U+FFFD), drops a byte-order mark at the start, splits at each
// line feed and drops one carriage return before each line end (the end of
// the file included). A last line without a line feed counts; an empty file
// has no lines. Nothing else changes: no quoting, no trimming.
//
// Writing puts each line as UTF-8 followed by a line feed into a work file in
// the target's folder and renames it over the target when complete, so the
// target never holds half a list, and a link under the target's name is
// replaced, never followed. A file that is replaced keeps its permissions;
// a new one gets 0666 under the user's umask.
//
// Paths are the host's file names (FileNameEncoding.h). Errors are errno
// values; 0 is success.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

// Only a regular file is read (EINVAL for a device or pipe, EISDIR for a
// folder); `lines` is left empty on failure.
int ReadLines(std::wstring_view path, std::vector<std::wstring>& lines);

// ENOENT for an empty path, EISDIR for a path that ends in "/".
int WriteLines(std::wstring_view path, const std::vector<std::wstring>& lines);

// The lines of a text (the reading rules above, without the file).
std::vector<std::wstring> SplitLines(std::string_view bytes);

} // namespace host
