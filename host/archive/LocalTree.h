// A local folder tree reached through an open descriptor of its root,
// without ever following a link below the root: folders are opened with
// O_NOFOLLOW | O_DIRECTORY one part at a time, files with O_NOFOLLOW, and a
// listing skips links and every other entry that is not a regular file or
// a folder. Names are relative names (SchemeFile.h IsRelativeName) in the
// host's wide text; their bytes are the file system's (FileNameEncoding.h).
// Errors are errno values; callers name the file.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <map>
#include <string>

#include "sdk/ScopedHandles.h"

namespace host::fas {

struct LocalFile {
    int64_t size = 0;
    int64_t modified = 0; // nanoseconds since the epoch
    uint32_t mode = 0;    // permission bits
};

using LocalListing = std::map<std::wstring, LocalFile>;

// Opens the folder at `path` (a link naming the root itself is followed:
// the user named it). 0 or an errno.
int OpenRoot(const std::string& path, ScopedFD& root);

// Every regular file under `root`, recursively. `skip` (given the relative
// name of a file or folder) leaves entries out; a folder left out is not
// entered. 0, ECANCELED when `stop` was set, or the errno of a folder that
// could not be read (its name in `failed`).
int ListLocal(int root, const std::function<bool(const std::wstring&, bool folder)>& skip,
              const std::atomic<bool>* stop, LocalListing& out, std::wstring& failed);

// Opens the folder that holds `name` (its last part goes to `leaf`, as
// bytes). With `create`, missing folders are made (mode 0777 under the
// umask). 0 or an errno (ENOTDIR too when a part is a link or a file).
int OpenParent(int root, const std::wstring& name, bool create, ScopedFD& parent, std::string& leaf);

// The SHA-256 and size of the open file `fd`, read from its start in
// chunks, `stop` read between them. 0, ECANCELED or an errno.
int HashFile(int fd, const std::atomic<bool>* stop, std::string& sha256, int64_t& size);

// Opens the regular file `name` under `root` for reading. 0 or an errno.
int OpenFile(int root, const std::wstring& name, ScopedFD& file);

// Nanoseconds since the epoch of a stat's modification time.
int64_t ModifiedNanoseconds(const struct stat& info);

} // namespace host::fas
