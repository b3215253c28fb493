// The file-system primitives of the mirroring components. Paths are wide
// text; the file system sees them encoded as UTF-8 by _IS2A.
#pragma once

#include <memory>

#include "core/REFString.h"

// A path encoded for the file system (terminated UTF-8).
std::unique_ptr<char[]> OSPath(tagREFString path);

// Copies a file. Returns 0, or 0x80004005 when the source cannot be read,
// the target exists and `overwrite` is 0, the target cannot be written, or
// nothing was written: an empty source leaves an empty target and fails.
// The target gets the source's permission bits; times are not copied. The
// copy runs in bounded memory whatever the file's size.
HRESULT OSCopyFile(CREFString source, CREFString target, short overwrite);

// Creates a folder (and any missing parent) with mode 0777 after umask(0).
// Returns 0 when the folder exists afterwards, else 0x80004005.
HRESULT OSCreateFolder(CREFString path);

// 1 when the path opens as a folder, 0 when it opens as a readable file,
// 0x80004005 when it is empty or opens as neither.
HRESULT OSVerify(CREFString path);
