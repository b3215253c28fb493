// Checks of the folders of a mirroring run, made before anything is copied.
#pragma once

#include <string>

namespace cli {

// Throws a failure "source folder not found: PATH" unless `source` is a
// folder.
void CheckSourceFolder(const std::string& source);

// Throws a failure unless `destination` is a folder or can be made as one
// (its parent folder exists): the run creates only the last folder of the
// path, and files it cannot write would otherwise pass unnoticed.
void CheckDestinationFolder(const std::string& destination);

// Throws a usage error when the two folders are the same or one lies inside
// the other: copying a folder into itself never ends, and cleaning a folder
// that holds the source would delete the source.
void CheckFoldersApart(const std::string& source, const std::string& destination);

// The path without trailing slashes ("/" stays as it is).
std::string WithoutTrailingSlash(std::string path);

} // namespace cli
