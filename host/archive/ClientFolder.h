// The client side of the service: a local folder, reached without following
// links below its root (LocalTree.h), with the service's own entries in it:
//   kStateName    the client's state: the serial of the scheme file it last
//                 updated or installed from, and per file the size, time and
//                 SHA-256 it had when the service last placed or checked it
//                 (a state file, SchemeFile.h);
//   kStagingName  the folder an install fetches into before it puts
//                 anything in place;
//   NAME.fas-new  the server's version of a file that was changed here;
//   .NAME.fas-part  a file being fetched, beside its target.
// None of them is ever listed in a scheme file, and neither is the scheme
// file itself.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "host/archive/LocalTree.h"
#include "host/archive/SchemeFile.h"
#include "host/transfer/LocationScheme.h"

namespace host::fas {

inline constexpr wchar_t kStateName[] = L".fas-state";
inline constexpr wchar_t kStagingName[] = L".fas-staging";
inline constexpr wchar_t kNewSuffix[] = L".fas-new";
inline constexpr wchar_t kPartSuffix[] = L".fas-part";

// The local folder a location names: a path or a file:// URL; nothing for
// any other URL.
std::optional<std::string> LocalFolderOf(const std::wstring& location);

// Whether a relative name is one of the service's own: the scheme file
// `schemeName`, the state, the staging folder, new versions and files
// being fetched.
bool IsServiceEntry(const std::wstring& name, const std::wstring& schemeName);

class ClientFolder final {
public:
    // Opens the side's location as a local folder; false, with why, when
    // it is no local folder.
    bool Open(ILocationScheme* side, std::wstring& why);
    bool Open(const std::string& path, std::wstring& why);

    int Root() const { return m_root.Get(); }
    const std::wstring& Shown() const { return m_shown; }

    // The state; an empty one (serial 0, no rows) when there is none yet.
    bool ReadState(SchemeFile& state, std::wstring& why) const;
    // Flushes the file system (so that the files placed before are on the
    // disk first) and writes the state under a work name, on the disk, then
    // renamed.
    bool WriteState(const SchemeFile& state, std::wstring& why) const;

    // Every file of the client but the service's own entries.
    int List(const std::wstring& schemeName, const std::atomic<bool>* stop, LocalListing& out,
             std::wstring& failed) const;

    // The SHA-256 of the client file `name` as it is now (`now` from a
    // listing). When `recorded` (the state's row) has the same size and
    // modification time, its hash is trusted and the file is not read: a
    // large client whose few files changed is not read whole on every run.
    int Hash(const std::wstring& name, const LocalFile& now, const SchemeRow* recorded,
             const std::atomic<bool>* stop, std::string& sha256) const;

    // Whether something that is no regular file (a link, a folder, a
    // device) stands under `name`: it is the user's and is never replaced.
    bool HoldsOther(const std::wstring& name) const;

private:
    ScopedFD m_root;
    std::wstring m_shown;
};

// A file being fetched or staged: created new (O_EXCL, no link followed)
// under a work name in an open folder, removed again unless Place ran.
class PartFile final {
public:
    PartFile() = default;
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;
    ~PartFile();

    // 0 or an errno; a stale file under the work name is removed first.
    int Create(int folder, std::string name);
    int Fd() const { return m_fd.Get(); }
    // Sets the mode (unknown: 0644) and time (unknown: kept), flushes the
    // content, and renames the file to `target` in `targetFolder` (the
    // folder is flushed with the state, ClientFolder::WriteState). 0 or an errno;
    // `placed` receives the file's size and time as it now stands.
    int Place(uint32_t mode, int64_t modified, int targetFolder, const std::string& target, LocalFile& placed);

private:
    ScopedFD m_fd;
    int m_folder = -1;
    std::string m_name;
    bool m_placed = false;
};

} // namespace host::fas
