// "URLhttp": the URL scheme of http, https, ftp, ftps and sftp. It answers
// IFileArchiveScheme (its settings; sending and removing files),
// IEventSource (progress listeners), the host's IFetchScheme, which a link
// drives, the host's ILocationScheme over the "HOSTNAME" location (WebDAV
// for http(s); RemoteLocation.h), and the location as a listing
// (LocationFaces.h); each operation runs its requests on the caller's
// thread, over connections the object keeps open between them.
//
// Settings are copied by put_Parameters and read under the object's mutex
// when a fetch starts, so a change applies to the next fetch. Progress goes
// to the listeners at most five times a second, and once more, with the
// final counts, when a fetch ends complete.
#pragma once

#include <mutex>
#include <string>

#include "host/transfer/CurlTransfer.h"
#include "host/transfer/FetchScheme.h"
#include "host/transfer/LocationFaces.h"
#include "host/transfer/LocationScheme.h"
#include "host/transfer/ProgressListeners.h"
#include "host/transfer/RemoteLocation.h"

namespace host {

class HttpScheme final : public LocationListing<IEventSource, IFetchScheme> {
public:
    HttpScheme() : LocationListing(L"URLhttp") {}

    // "TIMEOUT1" and "TIMEOUTSUBSEQUENT" (integers, ms; 0 or less sets the
    // default) and "HOSTNAME" (text), each when present; an absent one keeps
    // its value.
    HRESULT put_Parameters(IParameters* parameters) override;
    HRESULT Advise(IUnknown* listener, int32_t on) override;
    FetchResult Fetch(const FetchRequest& request) override;

    std::wstring Location() override { return HostName(); }
    FetchResult FetchFile(const std::wstring& name, int fd, const std::atomic<bool>* stop) override;
    TransferError PutFile(const std::wstring& name, const ContentReader& read, int64_t size,
                          const std::atomic<bool>* stop) override;
    TransferError Rename(const std::wstring& from, const std::wstring& to) override;
    TransferError RemoveFile(const std::wstring& name) override;
    TransferError List(const std::wstring& folder, std::vector<LocationEntry>& entries) override;

    // The host name given by "HOSTNAME", kept for relative names.
    std::wstring HostName() const;

private:
    void SetLocation(std::wstring location) override;
    // The location as the settings stand now; `progress` reports to the
    // listeners at their pace.
    RemoteLocation Here(bool progress, ProgressPace& pace);

    mutable std::mutex m_mutex;
    TransferLimits m_limits;
    std::wstring m_hostName;
    ProgressListeners m_listeners;
    // Every request of the object, from any thread, shares these: a run of
    // uploads or an update logs in once per server.
    CurlConnections m_connections;
};

HRESULT CreateHttpScheme(const IID* iid, void** out);

} // namespace host
