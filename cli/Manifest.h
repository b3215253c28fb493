// A SHA-256 list of every file of a folder tree, in the form `sha256sum -c`
// reads: one line per regular file, "<hash>  <path>", the path relative to
// the folder, sorted by path. Links are listed neither as files nor
// followed. A name holding a line feed or a backslash is written escaped
// with a backslash in front of the line, as sha256sum does.
#pragma once

#include <string>

namespace cli {

class HostRuntime;

// Writes the list of `folder` to `path` through the host's "File" stream (a
// work file renamed into place). `path` itself is left out of the list when
// it lies in the tree. Throws a failure naming the file that cannot be read
// or written.
void WriteManifest(const HostRuntime& runtime, const std::string& folder, const std::string& path);

} // namespace cli
