// The file-system primitives of the mirroring components. Paths are wide
// text; the file system sees them encoded as UTF-8 by _IS2A.
//
// What every primitive that writes guarantees:
// - a target is replaced, never written through: a copy writes a work file
//   in the target's folder (unnamed where the file system allows) and puts
//   it in place by a link or a rename when it is complete, so no target
//   ever holds a partial file under its own name;
// - folders are made with mode 0777 under the process's umask, which is
//   never changed (a library must not change a process-wide setting, and
//   world-writable folders would let any user plant links in a mirror).
#pragma once

#include <string_view>

#include <sys/types.h>

#include <memory>
#include <string>

#include "core/REFString.h"

// A path encoded for the file system (terminated UTF-8).
std::unique_ptr<char[]> OSPath(tagREFString path);

// Why a primitive failed, for the failure report: the system's error number,
// or a reason of our own for what the system does not see as an error.
struct OSError {
    int code = 0;
    const char* reason = nullptr;

    bool Failed() const { return code != 0 || reason != nullptr; }
    // The reason as text (UTF-8).
    std::string Text() const;
};

// Copies a file. Returns 0, or 0x80004005 when the source cannot be read,
// the target exists and `overwrite` is 0, the target cannot be written, or
// nothing was written: an empty source leaves an empty target and fails.
// The target gets the source's permission bits (without set-user and
// set-group bits the copy's owner would not have held); times are not
// copied. The copy runs in bounded memory whatever the file's size.
// `error`, when given, tells why a copy failed (a missing target folder
// among the reasons: it is never created here), as OSCopyFileAt does.
HRESULT OSCopyFile(CREFString source, CREFString target, short overwrite, OSError* error = nullptr);

// OSCopyFile with the target named by its folder (an open descriptor,
// O_PATH is enough) and its name there. `error`, when given, tells why a
// copy failed; it stays clear for an empty source, whose copy fails without
// being a fault. The source must not change while it is read (size,
// modification time, identity): when it does, the copy fails and the old
// target stays.
HRESULT OSCopyFileAt(const char* source, int folder, const char* name, short overwrite, OSError* error);

// Whether copies may write unnamed work files where the file system allows
// (the default); when not, every work file is named from the start, as on
// file systems without unnamed files.
void OSUseUnnamedWorkFiles(bool use);

// Removes the copy work files in the folder that no running copy holds:
// those a killed or failed run left behind.
void OSRemoveStaleWorkFiles(int folder);

// Creates a folder (and any missing parent) with mode 0777 under the
// umask. Returns 0 when the folder exists afterwards, else 0x80004005.
HRESULT OSCreateFolder(CREFString path);

// 1 when the path opens as a folder, 0 when it opens as a readable file,
// 0x80004005 when it is empty or opens as neither.
HRESULT OSVerify(CREFString path);

// A folder's identity: an unmounted, replaced or remounted folder has
// another one under the same path.
struct OSFolderIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const OSFolderIdentity&) const = default;
};

// The identity of the folder at `path` (one stat, links followed); false
// when there is no folder there.
bool OSFolderIdentityOf(CREFString path, OSFolderIdentity* identity);
// The same for a path already encoded for the file system.
bool OSFolderIdentityAt(const char* path, OSFolderIdentity* identity);

// "folder/name".
std::wstring OSJoin(std::wstring_view folder, std::wstring_view name);

// Whether `relative` names a place below the folder it is taken in: not
// empty, not absolute, and no step of it is "..".
bool OSStaysBelow(std::wstring_view relative);

// False when a name cannot be written under its own bytes: it holds the
// code points the host's listing gives to bytes that are not valid UTF-8.
bool OSNameMirrorable(CREFString name);
