// What the service does with a side through its location face
// (host/transfer/LocationScheme.h): list the whole tree, fetch one file
// into a private temporary file, read and write a scheme file. Every
// operation reads the stop flag and ends with E_ABORT when it is set.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "host/archive/SchemeFile.h"
#include "host/transfer/LocationScheme.h"
#include "sdk/ScopedHandles.h"

namespace host::fas {

using RemoteListing = std::map<std::wstring, LocationEntry>;

// Every file under the location, recursively, by relative name; `skip`
// (relative name, folder or not) leaves entries out, a folder left out is
// not entered.
TransferError ListRemote(ILocationScheme* side, const std::function<bool(const std::wstring&, bool folder)>& skip,
                         const std::atomic<bool>* stop, RemoteListing& out);

// Fetches the file `name` into a new unnamed temporary file (read and
// write, at its start) held by `file`.
TransferError FetchToTemp(ILocationScheme* side, const std::wstring& name, const std::atomic<bool>* stop,
                          ScopedFD& file);

// Reads the scheme file `name` of the side: `out` stays empty when the side
// has none; a file that is there but damaged is an error.
TransferError ReadSchemeFileAt(ILocationScheme* side, const std::wstring& name, const std::atomic<bool>* stop,
                               std::optional<SchemeFile>& out);

// Writes `bytes` as the file `name` of the side (work name, verified,
// renamed: ILocationScheme::PutFile).
TransferError PutBytes(ILocationScheme* side, const std::wstring& name, const std::string& bytes,
                       const std::atomic<bool>* stop);

// The folder part of a relative name ("" for a name without one) and its
// last part.
std::wstring FolderOf(const std::wstring& name);
std::wstring LeafOf(const std::wstring& name);

} // namespace host::fas
