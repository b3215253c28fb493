#include "components/SideThread.h"

#include <atomic>
#include <system_error>
#include <utility>
#include <vector>

namespace {

// Spins a little while until `done()`; returns its last answer.
template <class Done>
bool SpinUntil(const Done& done) {
    // Waking a sleeping thread costs tens of microseconds, as much as the
    // work of a small folder: a short spin first, where another core can
    // run the other side meanwhile.
    static const bool worthIt = std::thread::hardware_concurrency() > 1;
    if (!worthIt) return done();
    constexpr int kSpins = 4000;
    for (int i = 0; i < kSpins; ++i) {
        if (done()) return true;
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#elif defined(__aarch64__)
        asm volatile("yield");
#endif
    }
    return done();
}

} // namespace

SideThread::~SideThread() {
    {
        std::lock_guard<std::mutex> hold(m_lock);
        m_stopping = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable()) m_thread.join();
}

void SideThread::RunBoth(const std::function<void()>& here, const std::function<void()>& aside) {
    if (!TryHandOff(&aside)) {
        here();
        aside();
        return;
    }
    // `aside` may refer to the caller's locals: wait for it however `here`
    // ends.
    std::exception_ptr failedHere;
    try {
        here();
    } catch (...) {
        failedHere = std::current_exception();
    }
    const std::exception_ptr failedAside = WaitForHandedOff();
    if (failedHere) std::rethrow_exception(failedHere);
    if (failedAside) std::rethrow_exception(failedAside);
}

size_t SideThread::RunInOrder(size_t count, const std::function<void(size_t)>& run,
                              const std::function<void(size_t)>& report, const std::function<bool()>& stopped) {
    std::atomic<size_t> next{0};
    std::vector<std::atomic<bool>> done(count);
    size_t reported = 0;
    const auto runOne = [&] {
        if (stopped()) return false;
        const size_t job = next.fetch_add(1, std::memory_order_relaxed);
        if (job >= count) return false;
        run(job);
        done[job].store(true, std::memory_order_release);
        return true;
    };
    const auto reportDone = [&] {
        while (reported < count && done[reported].load(std::memory_order_acquire)) report(reported++);
    };
    const auto here = [&] {
        while (runOne()) reportDone();
    };
    if (count < 2) {
        here();
    } else {
        RunBoth(here, [&] {
            while (runOne()) {
            }
        });
    }
    // Jobs are taken in order and every one taken has ended: the jobs done
    // are the first ones.
    reportDone();
    return reported;
}

bool SideThread::TryHandOff(const std::function<void()>* job) {
    {
        std::lock_guard<std::mutex> hold(m_lock);
        if (m_busy || m_stopping) return false;
        if (!m_thread.joinable()) {
            try {
                m_thread = std::thread(&SideThread::Loop, this);
            } catch (const std::system_error&) {
                return false; // no thread to be had: the caller does both
            }
        }
        m_busy = true;
        m_job.store(job, std::memory_order_release);
    }
    m_changed.notify_all();
    return true;
}

std::exception_ptr SideThread::WaitForHandedOff() {
    const auto finished = [this] { return m_job.load(std::memory_order_acquire) == nullptr; };
    SpinUntil(finished);
    std::unique_lock<std::mutex> hold(m_lock);
    m_changed.wait(hold, finished);
    m_busy = false;
    return std::exchange(m_failure, nullptr);
}

void SideThread::Loop() {
    for (;;) {
        const std::function<void()>* job = nullptr;
        const auto handed = [&] { return (job = m_job.load(std::memory_order_acquire)) != nullptr; };
        if (!SpinUntil(handed)) {
            std::unique_lock<std::mutex> hold(m_lock);
            m_changed.wait(hold, [&] { return handed() || m_stopping; });
            if (!job) return; // stopping, with nothing left to run
        }
        std::exception_ptr failure;
        try {
            (*job)();
        } catch (...) {
            failure = std::current_exception(); // handed to the waiting caller
        }
        {
            std::lock_guard<std::mutex> hold(m_lock);
            m_failure = failure;
            m_job.store(nullptr, std::memory_order_release);
        }
        m_changed.notify_all();
    }
}
