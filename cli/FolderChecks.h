// Checks of the folders of a mirroring run, made before anything is copied.
#pragma once

#include <string>

namespace cli {

// The path made absolute against the current folder and lexically
// normalised ("." and ".." elements and doubled or trailing slashes go;
// symbolic links are left as they are). The Shadow component trims leading
// blanks, control characters and byte-order-mark characters from its source
// path, so a relative name starting with one of those ("þdata") would reach
// it shortened; an absolute path starts with "/" and reaches it whole.
// Throws a failure when the current folder cannot be read.
std::string AbsolutePath(const std::string& path);

// Throws a failure "source folder not found: PATH" unless `source` is a
// folder.
void CheckSourceFolder(const std::string& source);

// Throws a failure unless `destination` is a folder or can be made as one
// (its parent folder exists): the run creates only the last folder of the
// path, and files it cannot write would otherwise pass unnoticed.
void CheckDestinationFolder(const std::string& destination);

// Throws a usage error when the two paths differ only in letter case: the
// Shadow component compares its paths case-blind, character by character,
// and does nothing for a pair it takes for one folder.
void CheckNotCaseVariants(const std::string& source, const std::string& destination);

// Throws a usage error when the two folders are the same or one lies inside
// the other: copying a folder into itself never ends, and cleaning a folder
// that holds the source would delete the source. Folders are compared by
// identity (device and inode), so a spelling through a symbolic link or a
// bind mount is caught, and so is a folder that a mount point inside the
// other one leads to. A destination that does not exist yet is checked
// through its nearest existing parent.
void CheckFoldersApart(const std::string& source, const std::string& destination);

// The path without trailing slashes ("/" stays as it is).
std::string WithoutTrailingSlash(std::string path);

} // namespace cli
