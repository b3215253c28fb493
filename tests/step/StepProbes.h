// Test-only components with a synchronous and an asynchronous step whose
// Execute does whatever the test hands it.
#pragma once

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>

#include "module/Object.h"
#include "step/StepImpl.h"

struct ProbeCounters {
    std::atomic<int> executed{0};
    std::atomic<int> destroyed{0};
    std::atomic<bool> sawStopEvent{false};
    void Reset() {
        executed = 0;
        destroyed = 0;
        sawStopEvent = false;
    }
};

template <class C>
IStep* CreateStep() {
    IID iid = IID_IStep;
    void* out = nullptr;
    if (CObject<C>::_CreateInstance(nullptr, &iid, &out) != S_OK) return nullptr;
    return static_cast<IStep*>(out);
}

// What both probes share: per-class counters and an Execute that runs the
// body the test hands in.
template <class C>
struct ProbeBody {
    ~ProbeBody() { ++counters.destroyed; }
    HRESULT Execute(CStopEvent* stop) {
        ++counters.executed;
        counters.sawStopEvent = stop != nullptr;
        return body ? body(stop) : S_OK;
    }
    static inline ProbeCounters counters;
    std::function<HRESULT(CStopEvent*)> body;
};

class CSyncProbe final : public CObject<CSyncProbe>,
                         public IObjectInfoImpl<CSyncProbe>,
                         public IStepImplSynchronous<CSyncProbe, IStep, CTimer>,
                         public ProbeBody<CSyncProbe> {
public:
    static constexpr wchar_t kObjectName[] = L"SyncProbe";
    SHADOW_INTERFACE_TABLE(CSyncProbe, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IStep))
};

class CAsyncProbe final : public CObject<CAsyncProbe>,
                          public IObjectInfoImpl<CAsyncProbe>,
                          public IStepImplAsynchronous<CAsyncProbe, IStep, CTimer>,
                          public ProbeBody<CAsyncProbe> {
public:
    static constexpr wchar_t kObjectName[] = L"AsyncProbe";
    SHADOW_INTERFACE_TABLE(CAsyncProbe, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IStep))

    using IStepImplAsynchronous::GetLastStatus;
    using IStepImplAsynchronous::GetWaitLimit;
    using IStepImplAsynchronous::SetWaitLimit;
};

// A latch Execute can wait on.
struct Gate {
    std::atomic<bool> open{false};
    std::atomic<bool> reached{false};
    void Wait() {
        reached = true;
        while (!open) usleep(200);
    }
};

// Polls `done` every millisecond for up to `limit`; true when it came true.
inline bool WaitFor(const std::function<bool()>& done,
                    std::chrono::milliseconds limit = std::chrono::milliseconds(5000)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        usleep(1000);
    }
    return true;
}

template <class C>
C* ProbeOf(IStep* step) {
    return static_cast<C*>(step);
}
