// "URLFile": the scheme of local files (IFileArchiveScheme, IEventSource,
// and the link's IFetchScheme face). A name is a local path or a file://
// URL (FileUrl.h); relative names are taken under the "HOSTNAME" setting.
// The time-out settings are accepted and ignored: a local copy has no
// silence to wait out.
//
// Location texts are sorted between the schemes by their prefix alone, so
// "URLFile" also receives URLs such as "sftp://host/folder" or
// "https://host/dav/". A location (or, for Fetch, a name) that is a URL of
// any kind other than file:// is handed to a "URLhttp" scheme this one
// keeps, with the same settings and listeners, so that such a server works
// whichever scheme its text was given to.
//
// Fetch copies the source file into the link's work file with plain system
// calls, in chunks of at most kChunk bytes (in the kernel where it can,
// else through a buffer of that size), reading the stop flag between
// chunks. The validator of a source is "<size>-<mtime in ns>"; a fetch
// resumes at the request's offset only when the source still has the
// request's validator, and otherwise starts over. A source that changes
// during the copy fails the fetch. Progress goes to the listeners at the
// pace of ProgressPace, on the fetching thread.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "host/base/HostObject.h"
#include "sdk/ScopedHandles.h"
#include "host/transfer/FetchScheme.h"
#include "host/transfer/LocationFaces.h"
#include "host/transfer/LocationScheme.h"
#include "host/transfer/ProgressListeners.h"

namespace host {

class FileScheme final : public LocationListing<IEventSource, IFetchScheme> {
public:
    static constexpr size_t kChunk = 1 << 20;

    FileScheme();

    HRESULT put_Parameters(IParameters* parameters) override;
    HRESULT Advise(IUnknown* listener, int32_t on) override;
    FetchResult Fetch(const FetchRequest& request) override;

    // ILocationScheme
    std::wstring Location() override;
    FetchResult FetchFile(const std::wstring& name, int fd, const std::atomic<bool>* stop) override;
    TransferError PutFile(const std::wstring& name, const ContentReader& read, int64_t size,
                          const std::atomic<bool>* stop) override;
    TransferError Rename(const std::wstring& from, const std::wstring& to) override;
    TransferError RemoveFile(const std::wstring& name) override;
    TransferError List(const std::wstring& folder, std::vector<LocationEntry>& entries) override;

private:
    void SetLocation(std::wstring location) override;
    // Copies the open `source` (closed when it failed to open, errno set)
    // into the request's work file; `shown` names it in texts.
    FetchResult FetchOpened(const ScopedFD& source, const std::wstring& shown, const FetchRequest& request);
    // The location's local path (bytes), or false with `error` filled.
    bool LocationPath(std::string& path, TransferError& error);

    ~FileScheme() override = default;

    // The remote scheme when `text` is a URL other than file://, else null.
    ILocationScheme* RemoteFor(std::wstring_view text);
    ILocationScheme* Remote() { return RemoteFor(Location()); }

    IPtr<ILocationScheme> m_remote; // a "URLhttp", made with this object

    std::mutex m_lock;
    std::wstring m_hostName; // guarded by m_lock
    ProgressListeners m_listeners;
};

HRESULT CreateFileScheme(const IID* iid, void** out);

} // namespace host
