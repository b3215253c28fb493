// "URLhttp": the URL scheme of http, https, ftp, ftps and sftp. It answers
// IFileArchiveScheme (its settings), IEventSource (progress listeners) and
// the host's IFetchScheme, which a link drives; each fetch runs one
// CurlTransfer on the caller's thread.
//
// Settings are copied by put_Parameters and read under the object's mutex
// when a fetch starts, so a change applies to the next fetch. Progress goes
// to the listeners at most five times a second, and once more, with the
// final counts, when a fetch ends complete.
#pragma once

#include <mutex>
#include <string>

#include "host/base/HostObject.h"
#include "host/transfer/CurlTransfer.h"
#include "host/transfer/FetchScheme.h"
#include "host/transfer/ProgressListeners.h"

namespace host {

class HttpScheme final : public HostObject<IFileArchiveScheme, IEventSource, IFetchScheme> {
public:
    HttpScheme() = default;

    // "TIMEOUT1" and "TIMEOUTSUBSEQUENT" (integers, ms; 0 or less sets the
    // default) and "HOSTNAME" (text), each when present; an absent one keeps
    // its value.
    HRESULT put_Parameters(IParameters* parameters) override;
    // Sending and removing files are not built yet.
    HRESULT Transfer(IString*, IDataStream*) override { return E_NOTIMPL; }
    HRESULT Delete(IString*) override { return E_NOTIMPL; }
    HRESULT Advise(IUnknown* listener, int32_t on) override;
    FetchResult Fetch(const FetchRequest& request) override;

    // The host name given by "HOSTNAME", kept for relative names.
    std::wstring HostName() const;

private:
    mutable std::mutex m_mutex;
    TransferLimits m_limits;
    std::wstring m_hostName;
    ProgressListeners m_listeners;
};

HRESULT CreateHttpScheme(const IID* iid, void** out);

} // namespace host
