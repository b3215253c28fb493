// A recursive lock that knows which thread holds it, so that an unlock from a
// thread that does not hold it can be refused instead of corrupting the lock.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>

namespace host {

// The owner is published in an atomic: a thread reads back its own id only
// if it stored it itself, so the check needs no second lock. The depth is
// touched by the owner alone.
class OwnedLock final {
public:
    void Lock() {
        const std::thread::id self = std::this_thread::get_id();
        if (m_owner.load(std::memory_order_relaxed) == self) {
            ++m_depth;
            return;
        }
        m_mutex.lock();
        m_owner.store(self, std::memory_order_relaxed);
        m_depth = 1;
    }
    // False (and nothing changed) when the calling thread does not hold it.
    bool Unlock() {
        if (!HeldByCurrentThread()) return false;
        if (--m_depth == 0) {
            m_owner.store(std::thread::id(), std::memory_order_relaxed);
            m_mutex.unlock();
        }
        return true;
    }
    bool HeldByCurrentThread() const {
        return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }

private:
    std::mutex m_mutex;
    std::atomic<std::thread::id> m_owner{};
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
