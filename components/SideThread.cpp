#include "components/SideThread.h"

#include <system_error>
#include <utility>

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

bool SideThread::TryHandOff(const std::function<void()>* job) {
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
    m_job = job;
    m_changed.notify_all();
    return true;
}

std::exception_ptr SideThread::WaitForHandedOff() {
    std::unique_lock<std::mutex> hold(m_lock);
    m_changed.wait(hold, [this] { return m_job == nullptr; });
    m_busy = false;
    return std::exchange(m_failure, nullptr);
}

void SideThread::Loop() {
    std::unique_lock<std::mutex> hold(m_lock);
    for (;;) {
        m_changed.wait(hold, [this] { return m_job != nullptr || m_stopping; });
        if (m_job) {
            const std::function<void()>* job = m_job;
            hold.unlock();
            std::exception_ptr failure;
            try {
                (*job)();
            } catch (...) {
                failure = std::current_exception(); // handed to the waiting caller
            }
            hold.lock();
            m_failure = failure;
            m_job = nullptr;
            m_changed.notify_all();
            continue;
        }
        return; // stopping, with nothing left to run
    }
}
