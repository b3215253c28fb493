// A recursive lock that knows which thread holds it, so that an unlock from a
// thread that does not hold it can be refused instead of corrupting the lock.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace host {

class OwnedLock final {
public:
    void Lock() {
        const std::thread::id self = std::this_thread::get_id();
        std::unique_lock<std::mutex> guard(m_mutex);
        if (m_depth > 0 && m_owner == self) {
            ++m_depth;
            return;
        }
        m_free.wait(guard, [this] { return m_depth == 0; });
        m_owner = self;
        m_depth = 1;
    }
    // False (and nothing changed) when the calling thread does not hold it.
    bool Unlock() {
        std::unique_lock<std::mutex> guard(m_mutex);
        if (m_depth == 0 || m_owner != std::this_thread::get_id()) return false;
        if (--m_depth == 0) {
            m_owner = std::thread::id();
            guard.unlock();
            m_free.notify_one();
        }
        return true;
    }
    bool HeldByCurrentThread() {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_depth > 0 && m_owner == std::this_thread::get_id();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_free;
    std::thread::id m_owner;
    int m_depth = 0;
};

// Holds an OwnedLock for a scope.
class OwnedLockGuard final {
public:
    explicit OwnedLockGuard(OwnedLock& lock) : m_lock(lock) { m_lock.Lock(); }
    ~OwnedLockGuard() { m_lock.Unlock(); }
    OwnedLockGuard(const OwnedLockGuard&) = delete;
    OwnedLockGuard& operator=(const OwnedLockGuard&) = delete;

private:
    OwnedLock& m_lock;
};

} // namespace host
