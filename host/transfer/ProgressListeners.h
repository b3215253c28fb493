// The listeners a URL scheme sends the progress of its transfers to (the
// scheme's IEventSource face), and the pace at which a transfer reports.
//
// Listeners are called on the thread that reports, without the lock held.
// Advise(listener, 0) returns only when no progress call is running on
// another thread, so a listener may be released right after it; a listener
// that unsubscribes from inside its own Progress call does not wait for
// itself.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "sdk/Framework.h"

namespace host {

class ProgressListeners final {
public:
    // on = 1 subscribes a listener that answers _IUIProgressEvent (E_NOINTERFACE
    // otherwise), holding a reference; on = 0 unsubscribes it (S_FALSE when it
    // was not subscribed).
    HRESULT Advise(IUnknown* listener, int32_t on);
    // Calls Progress on every listener; the counts are clamped to 0..2^31-1.
    void Report(IUnknown* source, int64_t received, int64_t total, IUnknown* extra);
    bool Empty() const;

private:
    mutable std::mutex m_lock;
    std::condition_variable m_idle;
    std::vector<IPtr<_IUIProgressEvent>> m_listeners;
    std::vector<IUnknown*> m_identities; // each listener's IUnknown, to find it again
    std::vector<std::thread::id> m_reporting; // threads inside Report's calls
};

// How often one transfer reports: at most once per interval while it runs,
// and its last report unless the one before said the same.
class ProgressPace final {
public:
    static constexpr std::chrono::milliseconds kInterval{200};

    // True when a report of `received` is due now.
    bool Due(int64_t received, bool last);

private:
    std::chrono::steady_clock::time_point m_previous{};
    int64_t m_reported = -1; // what the last report said
};

} // namespace host
