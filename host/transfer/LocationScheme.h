// The face of a scheme ("URLhttp", "URLFile") that the host's own services
// (the file-archive-scheme service) drive: one location, its files reached
// by relative names. Host-internal; components see IFileArchiveScheme.
//
// A relative name is a path under the location with "/" between folders,
// never empty, absolute, or holding "." or ".." parts; every operation
// refuses any other name with E_INVALIDARG before it touches the location.
// The operations run on the caller's thread; several may run at once on
// one scheme. A set stop flag ends an operation within about a second with
// E_ABORT. TransferError texts never carry a password.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/transfer/FetchScheme.h"

namespace host {

struct LocationEntry {
    std::wstring name;    // relative to the folder listed
    bool folder = false;
    int64_t size = -1;    // bytes; -1 when the location does not tell
    int64_t modified = 0; // nanoseconds since the epoch; 0 when unknown
};

struct ILocationScheme : IUnknown {
    // The location (the "HOSTNAME" setting or the folder given last), as
    // given; empty when none.
    virtual std::wstring Location() = 0;

    // Fetches the file `name` into `fd`, from the start: the file is
    // truncated first. complete only when the whole file arrived and the
    // protocol's checks passed.
    virtual FetchResult FetchFile(const std::wstring& name, int fd, const std::atomic<bool>* stop) = 0;

    // Reads the next bytes of the content to send into `buffer` (at most
    // `capacity`), in order: the count, 0 at the end, -1 on a failure (with
    // errno set).
    using ContentReader = std::function<int64_t(void* buffer, size_t capacity)>;

    // Sends `size` bytes that `read` gives to `name`, safely: to a work name
    // in the target's folder, verified by the size the destination reports,
    // then renamed over the target. Content that ends before or runs past
    // `size` fails the transfer. Missing folders are made. The target holds
    // its old content or all of the new one; a failed transfer leaves no
    // work file behind where the location lets it be removed.
    virtual TransferError PutFile(const std::wstring& name, const ContentReader& read, int64_t size,
                                  const std::atomic<bool>* stop) = 0;

    // Renames the file `from` to `to`, replacing `to` when it exists.
    virtual TransferError Rename(const std::wstring& from, const std::wstring& to) = 0;

    // Removes the file `name` (never a folder). Removing a file that is not
    // there is a success.
    virtual TransferError RemoveFile(const std::wstring& name) = 0;

    // The entries directly in the folder `folder` ("" for the location
    // itself), files and folders, in no set order; work files of uploads
    // left out. A folder that does not exist gives an empty list and S_OK.
    virtual TransferError List(const std::wstring& folder, std::vector<LocationEntry>& entries) = 0;
};

inline const IID& LocationSchemeIID() {
    static const IID iid = __IIDOfc("ILocationScheme");
    return iid;
}

} // namespace host

template <>
struct InterfaceInfo<host::ILocationScheme> {
    using Parent = IUnknown;
    static const IID& Id() { return host::LocationSchemeIID(); }
};
