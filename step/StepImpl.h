// The step lifecycle around a component's Execute(CStopEvent*):
// IStepImplSynchronous runs it on the caller's thread inside TurnOn;
// IStepImplAsynchronous runs it on a detached worker thread that TurnOff
// can ask to stop. Both measure the execution time and turn an exception
// escaping Execute into a line in the host's "EventLogGlobal".
#pragma once

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>

#include "sdk/Framework.h"

// The stop request of one run: 0 runs on, non-zero asks Execute to stop at
// its next checkpoint. Written by the host's thread, read by the worker.
class CStopEvent final {
public:
    bool IsSet() const { return m_Value.load(std::memory_order_acquire) != 0; }
    void Set() { m_Value.store(1, std::memory_order_release); }
    // The checkpoint test: a null event means the run cannot be stopped.
    static bool Requested(const CStopEvent* event) { return event && event->IsSet(); }

private:
    std::atomic<int32_t> m_Value{0};
};

// The start of the current run on the real-time clock and the last
// execution time in milliseconds. Both are read and written from the host's
// thread and the worker, hence the atomics.
class CTimer final {
public:
    CTimer() { Start(); }

    void Start() {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        m_Seconds.store(now.tv_sec, std::memory_order_relaxed);
        m_Nanoseconds.store(now.tv_nsec, std::memory_order_relaxed);
    }
    // Milliseconds since Start, with a fractional part.
    double Elapsed() const {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        const int64_t seconds = static_cast<int64_t>(now.tv_sec) - m_Seconds.load(std::memory_order_relaxed);
        const int64_t nanoseconds =
            static_cast<int64_t>(now.tv_nsec) - m_Nanoseconds.load(std::memory_order_relaxed);
        return static_cast<double>(seconds) * 1000 + static_cast<double>(nanoseconds) / 1e6;
    }
    // Records the time since Start as the last execution time.
    void Stop() { m_Last.store(Elapsed(), std::memory_order_relaxed); }
    double Last() const { return m_Last.load(std::memory_order_relaxed); }

private:
    std::atomic<int64_t> m_Seconds{0};
    std::atomic<int64_t> m_Nanoseconds{0};
    std::atomic<double> m_Last{0};
};

// Writes "<format % value>" under the step's component name to the host's
// "EventLogGlobal" and saves the log at once. Never throws.
void STEPLogException(IUnknown* step, const wchar_t* format, int value) noexcept;

// I is the step interface (IStep), T the timer (CTimer). C provides
// HRESULT Execute(CStopEvent*).
template <class C, class I = IStep, class T = CTimer>
class IStepImplSynchronous : public I {
public:
    HRESULT TurnOn() override {
        m_Timer.Start();
        HRESULT hr;
        try {
            hr = static_cast<C*>(this)->Execute(nullptr);
        } catch (...) {
            STEPLogException(static_cast<I*>(this), L"Exception %d", 0);
            hr = STEP_E_EXCEPTION;
        }
        m_Timer.Stop();
        return hr;
    }
    HRESULT TurnOff() override { return E_NOTIMPL; }
    bool IsRunning() override { return false; }
    HRESULT get_ExecutionTime(double* milliseconds) override {
        if (milliseconds) *milliseconds = m_Timer.Last();
        return S_OK;
    }

protected:
    ~IStepImplSynchronous() = default;

private:
    T m_Timer;
};

// One run of an asynchronous step. TurnOff may still poll it after the
// worker has let go of it, so both hold it through a shared pointer. The
// thread's attribute block is not kept here: TurnOn destroys it as soon as
// pthread_create has returned, so the worker never touches it.
struct CThreadRecord final {
    // Non-zero while the worker may still run; the worker clears it as the
    // last change of its run. It holds kStarting until pthread_create has
    // reported the real handle.
    std::atomic<pthread_t> m_Handle{0};
    void* (*m_Routine)(void*) = nullptr;
    void* m_Argument = nullptr;
    // Never set: TurnOff polls instead of joining.
    bool m_Joinable = false;
    CStopEvent m_StopEvent;

    static constexpr pthread_t kStarting = ~pthread_t{0};
};

// The step's pointer to its current run, read by the host's threads and
// cleared by the worker. The lock covers only copying the pointer in or out;
// it is never held while a run executes or while TurnOff waits.
class CThreadSlot final {
public:
    std::shared_ptr<CThreadRecord> Load() const {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Record;
    }
    void Store(std::shared_ptr<CThreadRecord> record) {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Record.swap(record);
        // The old record, if any, is let go after the lock is dropped.
    }
    bool Empty() const {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return !m_Record;
    }

private:
    mutable std::mutex m_Mutex;
    std::shared_ptr<CThreadRecord> m_Record;
};

template <class C, class I = IStep, class T = CTimer>
class IStepImplAsynchronous : public I {
public:
    HRESULT TurnOn() override {
        if (m_Running.load(std::memory_order_acquire) == 1 || !m_Thread.Empty()) return E_FAIL;
        m_Running.store(1, std::memory_order_release);
        m_Timer.Start();
        auto record = std::make_shared<CThreadRecord>();
        record->m_Routine = &IStepImplAsynchronous::WorkerThread;
        record->m_Argument = this;
        record->m_Handle.store(CThreadRecord::kStarting, std::memory_order_release);
        m_Thread.Store(record);

        // The run's reference on the component is taken here, before the
        // thread exists, so that a host releasing the component right after
        // TurnOn cannot free it under a worker that has not started yet.
        // The worker drops it when it ends.
        C* object = static_cast<C*>(this);
        object->AddRef();

        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        pthread_t handle{};
        const int created = pthread_create(&handle, &attributes, record->m_Routine, record->m_Argument);
        pthread_attr_destroy(&attributes);
        if (created != 0) {
            // Not reported: the record stays and the step keeps reporting
            // that it runs.
            record->m_Handle.store(0, std::memory_order_release);
            object->Release();
            return S_OK;
        }
        // Unless the worker has already finished and cleared it.
        pthread_t expected = CThreadRecord::kStarting;
        record->m_Handle.compare_exchange_strong(expected, handle, std::memory_order_acq_rel);
        return S_OK;
    }

    HRESULT TurnOff() override {
        std::shared_ptr<CThreadRecord> record = m_Thread.Load();
        if (!record) return S_OK;
        if (record->m_StopEvent.IsSet()) return S_OK;
        m_Running.store(0, std::memory_order_release);
        m_Timer.Stop();
        record->m_StopEvent.Set();
        const pthread_t handle = record->m_Handle.load(std::memory_order_acquire);
        if (handle == 0) return S_OK;
        if (record->m_Joinable) {
            pthread_join(handle, nullptr);
        } else if (m_WaitLimit > 0) {
            for (int32_t poll = 0; poll <= m_WaitLimit; ++poll) {
                if (record->m_Handle.load(std::memory_order_acquire) == 0) break;
                usleep(1000);
            }
        }
        return S_OK;
    }

    bool IsRunning() override { return !m_Thread.Empty(); }

    HRESULT get_ExecutionTime(double* milliseconds) override {
        if (milliseconds) *milliseconds = m_Timer.Last();
        return S_OK;
    }

protected:
    ~IStepImplAsynchronous() = default;

    // The number of 1 ms polls TurnOff waits for the worker (10000 unless
    // changed); zero or less returns at once.
    void SetWaitLimit(int32_t polls) { m_WaitLimit = polls; }
    int32_t GetWaitLimit() const { return m_WaitLimit; }
    // The status of the last Execute of a worker (0 after an exception).
    HRESULT GetLastStatus() const { return m_LastStatus.load(std::memory_order_acquire); }

private:
    static void* WorkerThread(void* argument) {
        auto* step = static_cast<IStepImplAsynchronous*>(argument);
        C* object = static_cast<C*>(step);
        // TurnOn published the record before it created this thread, and
        // only this thread takes it away.
        std::shared_ptr<CThreadRecord> record = step->m_Thread.Load();

        step->m_LastStatus.store(0, std::memory_order_release);
        try {
            step->m_LastStatus.store(object->Execute(&record->m_StopEvent), std::memory_order_release);
        } catch (...) {
            STEPLogException(static_cast<I*>(step), L"Exception Async %d",
                             step->m_LastStatus.load(std::memory_order_acquire));
        }

        // The execution time is taken before the step reads idle; the
        // running flag is cleared before the record goes, so a caller that
        // sees IsRunning false can switch the step on again at once; and the
        // record's handle is cleared last: when a polling TurnOff sees it
        // cleared, the step already reports that it no longer runs.
        object->Lock();
        step->m_Timer.Stop();
        step->m_Running.store(0, std::memory_order_release);
        step->m_Thread.Store(nullptr);
        record->m_Handle.store(0, std::memory_order_release);
        object->Unlock();
        record.reset();
        object->Release();
        return nullptr;
    }

    CThreadSlot m_Thread;
    std::atomic<int32_t> m_Running{0};
    int32_t m_WaitLimit = 10000;
    std::atomic<HRESULT> m_LastStatus{0};
    T m_Timer;
};
