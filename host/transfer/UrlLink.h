// "URLLink": one download of a URL into a local file through a scheme
// (IURLLink and IStep, sdk/Transfer.h). The scheme's IFetchScheme face
// (FetchScheme.h) brings the bytes; DownloadWorkFile.h holds them under a
// work name beside the local file until they are complete, and renames them
// into place. A failure or a stop changes nothing under the local file's
// name; the work file and its note stay only when they hold bytes, for the
// next Start of the same URL into the same file.
//
// Threads: the setters, Start, TurnOff and the readers may be called from
// any thread; one mutex guards the settings and the outcome. One transfer
// runs at a time per link. A background transfer runs on a detached worker
// thread that holds a reference on the link until its very last statement,
// so the link cannot be destroyed while a transfer runs: releasing the last
// outside reference during a transfer leaves the worker to finish (or be
// stopped by nobody) and the worker's release then destroys the link, on
// the worker's thread. TurnOff sets the stop flag the scheme reads and
// waits (at most kStopWait) for the transfer to end.
//
// Every failure (E_FAIL, not a stop) is written to "EventLogGlobal" as
// ("URLLink", "<url>: <reason>") with any user and password removed from
// the URL, before IsRunning turns false.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "host/base/HostObject.h"
#include "host/transfer/FetchScheme.h"

namespace host {

class UrlLink final : public HostObject<IURLLink, IStep> {
public:
    static constexpr std::chrono::seconds kStopWait{10};

    UrlLink() = default;

    HRESULT put_URL(IString* url) override;
    HRESULT put_LocalFile(IString* path) override;
    HRESULT put_Scheme(IUnknown* scheme) override;
    HRESULT Start(int32_t direction, int32_t restart, int32_t background) override;
    HRESULT get_LastError(HRESULT* status, int32_t* code, int32_t* httpStatus, IString** text) override;

    HRESULT TurnOn() override;
    // S_OK once no transfer runs; E_FAIL when one still runs after
    // kStopWait. Called from the transfer's own thread (by a progress
    // listener) it only sets the stop flag.
    HRESULT TurnOff() override;
    bool IsRunning() override;
    // The length of the last transfer that ended, or of the running one so
    // far, in milliseconds.
    HRESULT get_ExecutionTime(double* milliseconds) override;

private:
    // What one transfer needs, copied at Start.
    struct Job {
        std::wstring url;
        std::string localPath; // bytes, as the file system names it
        IPtr<IFetchScheme> scheme;
        bool restart = false;
    };

    ~UrlLink() override = default;

    // The transfer itself, on the caller's or the worker's thread.
    TransferError Run(const Job& job);
    // Records the outcome, logs a failure and ends the run.
    void Finish(const Job& job, const TransferError& error);

    std::mutex m_lock;
    std::condition_variable m_ended;
    std::wstring m_url;
    std::wstring m_localFile;
    IPtr<IUnknown> m_scheme;
    bool m_running = false;
    std::thread::id m_runner; // the thread of the running transfer
    std::chrono::steady_clock::time_point m_started;
    double m_lastMilliseconds = 0;
    bool m_anyEnded = false;
    TransferError m_last;
    // Read by the scheme between pieces of data.
    std::atomic<bool> m_stop{false};
};

HRESULT CreateUrlLink(const IID* iid, void** out);

} // namespace host
