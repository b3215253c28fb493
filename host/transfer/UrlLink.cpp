#include "host/transfer/UrlLink.h"

#include <cerrno>
#include <system_error>

#include "host/runtime/EventLogLine.h"
#include "host/text/FileNameEncoding.h"
#include "sdk/UrlText.h"
#include "host/transfer/DownloadWorkFile.h"
#include "host/text/ErrnoText.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

TransferError Failure(HRESULT status, int code, std::wstring text) {
    TransferError error;
    error.status = status;
    error.code = code;
    error.text = std::move(text);
    return error;
}

double MillisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

HRESULT UrlLink::put_URL(IString* url) {
    std::lock_guard guard(m_lock);
    m_url = ToWide(url);
    return S_OK;
}

HRESULT UrlLink::put_LocalFile(IString* path) {
    std::lock_guard guard(m_lock);
    m_localFile = ToWide(path);
    return S_OK;
}

HRESULT UrlLink::put_Scheme(IUnknown* scheme) {
    IPtr<IUnknown> held(scheme);
    std::lock_guard guard(m_lock);
    std::swap(m_scheme, held);
    return S_OK; // the old scheme goes after the lock
}

HRESULT UrlLink::Start(int32_t direction, int32_t restart, int32_t background) {
    if (direction != 0) return E_INVALIDARG;
    Job job;
    {
        std::lock_guard guard(m_lock);
        if (m_url.empty() || m_localFile.empty() || !m_scheme) return E_INVALIDARG;
        job.scheme = m_scheme.Query<IFetchScheme>();
        if (!job.scheme) return E_INVALIDARG;
        if (m_running) return E_FAIL;
        job.url = m_url;
        job.localPath = FileNameToBytes(m_localFile);
        job.restart = restart != 0;
        m_running = true;
        m_runner = std::this_thread::get_id();
        m_started = std::chrono::steady_clock::now();
        m_stop.store(false);
    }
    if (!background) {
        const TransferError error = Run(job);
        Finish(job, error);
        return error.status;
    }
    // The worker's reference keeps the link alive until the worker's last
    // statement; see the header.
    IPtr<IURLLink> self(static_cast<IURLLink*>(this));
    try {
        std::thread([this, self, job]() mutable {
            {
                std::lock_guard guard(m_lock);
                m_runner = std::this_thread::get_id();
            }
            Finish(job, Run(job));
            job.scheme.Release();
            self.Release(); // may destroy the link: nothing of it is touched after this
        }).detach();
    } catch (const std::system_error& failure) {
        Finish(job, Failure(E_FAIL, failure.code().value(), L"cannot start the transfer's thread"));
        return E_FAIL;
    }
    return S_OK;
}

TransferError UrlLink::Run(const Job& job) {
    TransferError error;
    DownloadWorkFile work;
    if (!work.Open(job.localPath, error)) return error;
    // Bytes left by an earlier attempt stay for the next; an empty work
    // file, made by this one, goes.
    auto keepOnlyBytes = [&work] {
        if (work.Size() <= 0) work.Discard();
    };
    if (work.LocalIsFolder()) {
        keepOnlyBytes();
        return Failure(E_FAIL, EISDIR, work.LocalText() + L" is a folder");
    }

    FetchRequest request;
    request.url = job.url;
    request.fd = work.Fd();
    request.stop = &m_stop;
    request.link = static_cast<IURLLink*>(this);
    const int64_t held = work.Size();
    const std::optional<std::string> noted = job.restart ? std::nullopt : work.NoteFor(job.url);
    if (noted && held > 0) {
        request.offset = held;
        request.validator = *noted;
    } else if (!work.Truncate(error)) {
        work.Discard();
        return error;
    }
    // The note names the work file's bytes before any arrive, so that bytes
    // left by a crash are never taken for another URL's.
    if (!work.WriteNote(job.url, request.validator, error)) {
        keepOnlyBytes();
        return error;
    }

    // Once the scheme knows the version it writes, the note says so: bytes
    // left by a process that ends mid-transfer can then be resumed.
    request.versionKnown = [&](const std::string& version) {
        TransferError ignored; // the note is written again at the end
        if (version != request.validator) work.WriteNote(job.url, version, ignored);
    };

    FetchResult result;
    if (m_stop.load()) result.error = Failure(E_ABORT, 0, L"stopped");
    else result = job.scheme->Fetch(request);

    const int64_t size = work.Size();
    if (result.complete && result.error.status == S_OK) {
        if (size != result.size) {
            // The bytes are not what the scheme says it wrote: none is kept.
            work.Discard();
            return Failure(E_FAIL, 0,
                           L"the work file holds " + std::to_wstring(size) + L" bytes where " +
                               std::to_wstring(result.size) + L" arrived");
        }
        if (work.Commit(error)) return {};
    } else {
        error = result.error;
        if (error.status != E_ABORT) error.status = E_FAIL;
        if (error.text.empty()) error.text = L"the transfer ended before the whole file arrived";
    }
    // Kept for a resume only when there is something to resume, and only
    // with the validator of the version those bytes belong to.
    TransferError noteError;
    if (size <= 0 || !work.WriteNote(job.url, result.validator, noteError)) work.Discard();
    return error;
}

void UrlLink::Finish(const Job& job, const TransferError& error) {
    // A stop is what someone asked for, not a failure: it is not logged.
    if (error.status == E_FAIL)
        WriteEventLogError(L"URLLink", UrlWithoutCredentials(job.url) + L": " + error.text);
    {
        std::lock_guard guard(m_lock);
        m_last = error;
        m_anyEnded = true;
        m_lastMilliseconds = MillisecondsSince(m_started);
        m_running = false;
        m_runner = {};
    }
    m_ended.notify_all();
}

HRESULT UrlLink::get_LastError(HRESULT* status, int32_t* code, int32_t* httpStatus, IString** text) {
    std::lock_guard guard(m_lock);
    if (status) *status = m_anyEnded ? m_last.status : S_FALSE;
    if (code) *code = m_last.code;
    if (httpStatus) *httpStatus = m_last.httpStatus;
    if (text) *text = MakeString(m_last.text).Detach();
    return S_OK;
}

HRESULT UrlLink::TurnOn() { return Start(0, 0, 1); }

HRESULT UrlLink::TurnOff() {
    m_stop.store(true);
    std::unique_lock lock(m_lock);
    if (m_running && m_runner == std::this_thread::get_id()) return S_OK;
    return m_ended.wait_for(lock, kStopWait, [&] { return !m_running; }) ? S_OK : E_FAIL;
}

bool UrlLink::IsRunning() {
    std::lock_guard guard(m_lock);
    return m_running;
}

HRESULT UrlLink::get_ExecutionTime(double* milliseconds) {
    if (!milliseconds) return E_POINTER;
    std::lock_guard guard(m_lock);
    *milliseconds = m_running ? MillisecondsSince(m_started) : m_lastMilliseconds;
    return S_OK;
}

HRESULT CreateUrlLink(const IID* iid, void** out) { return CreateHostComponent<UrlLink>(iid, out); }

} // namespace host
