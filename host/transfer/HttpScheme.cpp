#include "host/transfer/HttpScheme.h"

#include <optional>

#include "host/transfer/SchemeSettings.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

// The limit a parameter gives: none when it is absent, the default for 0
// or less.
std::optional<std::chrono::milliseconds> Limit(IParameters* parameters, const wchar_t* name) {
    IPtr<IVariant> value = NamedSetting(parameters, name);
    int32_t ms = 0;
    if (!value || FAILED(value->get_Integer(&ms))) return std::nullopt;
    return ms > 0 ? std::chrono::milliseconds(ms) : TransferLimits::kDefault;
}

} // namespace

HRESULT HttpScheme::put_Parameters(IParameters* parameters) {
    if (!parameters) return E_POINTER;
    const auto firstByte = Limit(parameters, L"TIMEOUT1");
    const auto pause = Limit(parameters, L"TIMEOUTSUBSEQUENT");
    std::optional<std::wstring> hostName = TextSetting(parameters, L"HOSTNAME");
    std::lock_guard lock(m_mutex);
    if (firstByte) m_limits.firstByte = *firstByte;
    if (pause) m_limits.pause = *pause;
    if (hostName) m_hostName = std::move(*hostName);
    return S_OK;
}

HRESULT HttpScheme::Advise(IUnknown* listener, int32_t on) { return m_listeners.Advise(listener, on); }

void HttpScheme::SetLocation(std::wstring location) {
    std::lock_guard lock(m_mutex);
    m_hostName = std::move(location);
}

std::wstring HttpScheme::HostName() const {
    std::lock_guard lock(m_mutex);
    return m_hostName;
}

FetchResult HttpScheme::Fetch(const FetchRequest& request) {
    TransferLimits limits;
    {
        std::lock_guard lock(m_mutex);
        limits = m_limits;
    }
    ProgressPace pace;
    IUnknown* self = FirstInterface();
    auto report = [&](int64_t received, int64_t total) {
        if (!m_listeners.Empty() && pace.Due(received, false)) m_listeners.Report(self, received, total, request.link);
    };
    CurlTransfer transfer(ToUtf8(request.url), limits, request.stop, report, &m_connections);
    FetchResult result = transfer.Fetch(request.fd, request.offset, request.validator, request.versionKnown);
    if (result.complete && pace.Due(result.size, true)) m_listeners.Report(self, result.size, result.size, request.link);
    return result;
}

RemoteLocation HttpScheme::Here(bool progress, ProgressPace& pace) {
    TransferLimits limits;
    std::wstring location;
    {
        std::lock_guard lock(m_mutex);
        limits = m_limits;
        location = m_hostName;
    }
    CurlTransfer::ProgressSink sink;
    if (progress)
        sink = [this, &pace](int64_t done, int64_t total) {
            if (!m_listeners.Empty() && pace.Due(done, false)) m_listeners.Report(FirstInterface(), done, total, nullptr);
        };
    return RemoteLocation(location, limits, std::move(sink), &m_connections);
}

FetchResult HttpScheme::FetchFile(const std::wstring& name, int fd, const std::atomic<bool>* stop) {
    ProgressPace pace;
    FetchResult result = Here(true, pace).FetchFile(name, fd, stop);
    if (result.complete && pace.Due(result.size, true)) m_listeners.Report(FirstInterface(), result.size, result.size, nullptr);
    return result;
}

TransferError HttpScheme::PutFile(const std::wstring& name, const ContentReader& read, int64_t size,
                                  const std::atomic<bool>* stop) {
    ProgressPace pace;
    TransferError error = Here(true, pace).PutFile(name, read, size, stop);
    if (error.status == S_OK && pace.Due(size, true)) m_listeners.Report(FirstInterface(), size, size, nullptr);
    return error;
}

TransferError HttpScheme::Rename(const std::wstring& from, const std::wstring& to) {
    ProgressPace pace;
    return Here(false, pace).Rename(from, to, nullptr);
}

TransferError HttpScheme::RemoveFile(const std::wstring& name) {
    ProgressPace pace;
    return Here(false, pace).RemoveFile(name, nullptr);
}

TransferError HttpScheme::List(const std::wstring& folder, std::vector<LocationEntry>& entries) {
    ProgressPace pace;
    return Here(false, pace).List(folder, entries, nullptr);
}

HRESULT CreateHttpScheme(const IID* iid, void** out) { return CreateHostComponent<HttpScheme>(iid, out); }

} // namespace host
