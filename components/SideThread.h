// A second thread for running two independent pieces of work at once, such
// as listing the source and the destination folder of one mirroring level.
// The thread starts on first use and is joined when the object goes.
#pragma once

#include <atomic>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

class SideThread final {
public:
    SideThread() = default;
    ~SideThread();
    SideThread(const SideThread&) = delete;
    SideThread& operator=(const SideThread&) = delete;

    // Runs `here` on the calling thread and `aside` on the side thread, and
    // returns when both are done. When the side thread is busy with another
    // caller's work, or cannot be started, both run here, one after the
    // other. An exception from either is rethrown here once both are done.
    void RunBoth(const std::function<void()>& here, const std::function<void()>& aside);

    // Runs jobs 0 to count-1, independent of each other, on the calling
    // thread and the side thread, taking them in order, and reports each on
    // the calling thread, in order, once it and all before it are done.
    // Takes no new job once `stopped` says so; every job taken is run to
    // its end and reported. Returns how many were run.
    size_t RunInOrder(size_t count, const std::function<void(size_t)>& run,
                      const std::function<void(size_t)>& report, const std::function<bool()>& stopped);

private:
    // Hands `job` to the side thread; false when it is busy or cannot start.
    bool TryHandOff(const std::function<void()>* job);
    // Waits until the handed-off work is done; returns what it threw.
    std::exception_ptr WaitForHandedOff();
    void Loop();

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::thread m_thread;
    std::atomic<const std::function<void()>*> m_job{nullptr}; // the work handed off, until it is done
    bool m_busy = false;                          // a caller owns the side thread
    bool m_stopping = false;
    std::exception_ptr m_failure; // thrown by the work handed off
};
