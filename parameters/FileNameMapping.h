// File names in mapped form. A saved file name that starts with the
// installation folder is stored as "[InstallPath]" plus the rest, one that
// starts with a folder of the registry's "Mappings" section as "[name]" plus
// the rest, so that saved settings survive a move of those folders. These
// functions map and unmap names, make them relative to a base folder and
// absolute again, and find the installation and application folders.
//
// Every output string is new and carries one reference for the caller.
#pragma once

#include "sdk/Framework.h"

// The registry's "Workspace" / "InstallPath". The output is always set (an
// empty text when the read failed); E_FAIL without a registry.
HRESULT FILENAMEGetInstallPath(IString** path);

// The folder of the open workspace file, or the registry's
// "Workspace" / "AppPath" when no workspace file is open.
HRESULT FILENAMEGetAppPath(IString** path);

// Maps a file name: "[InstallPath]..." or "[mapping]..."; with `relative`
// a name under the installation folder becomes the bare remainder.
// E_NOREGISTRY without a registry, E_FAIL when nothing matches; the output
// is null on failure.
HRESULT FILENAMEMap(IString* name, IString** mapped, short relative);

// Turns a mapped name back into a full one. E_FAIL for a name that is not
// mapped or whose token is unknown; the output is null on failure.
HRESULT FILENAMEUnmap(IString* mapped, IString** name);

// Makes a relative name ("..\" groups for each level up) absolute against
// `base`; absolute names are returned with their separators normalised.
HRESULT FILENAMECreateAbsolute(IString* base, IString* name, IString** absolute);

// The same against the application folder (useAppPath non-zero) or the
// installation folder.
HRESULT FILENAMECreateAbsolute(IString* name, IString** absolute, int useAppPath);

// Makes `name` relative to `base`. 0 when made relative (or when either text
// is empty, the name then returned as it is); 1 when the two share less than
// a folder and the name is returned unchanged.
HRESULT FILENAMECreateRelative(IString* base, IString* name, IString** relative);
