#include "host/transfer/ProgressListeners.h"

#include <algorithm>
#include <limits>

namespace host {

namespace {

int32_t Clamped(int64_t count) {
    return static_cast<int32_t>(std::clamp<int64_t>(count, 0, std::numeric_limits<int32_t>::max()));
}

// The object's identity: its IUnknown, as QueryInterface gives it.
IPtr<IUnknown> IdentityOf(IUnknown* object) {
    IPtr<IUnknown> identity;
    if (object) object->QueryInterface(IID_IUnknown, identity.OutVoid());
    return identity;
}

} // namespace

HRESULT ProgressListeners::Advise(IUnknown* listener, int32_t on) {
    if (!listener) return E_POINTER;
    IPtr<IUnknown> identity = IdentityOf(listener);
    std::unique_lock lock(m_lock);
    auto found = std::find(m_identities.begin(), m_identities.end(), identity.Get());
    if (on) {
        if (found != m_identities.end()) return S_OK;
        auto events = QueryAs<_IUIProgressEvent>(listener);
        if (!events) return E_NOINTERFACE;
        m_listeners.push_back(std::move(events));
        m_identities.push_back(identity.Get());
        return S_OK;
    }
    if (found == m_identities.end()) return S_FALSE;
    const auto index = found - m_identities.begin();
    IPtr<_IUIProgressEvent> removed = std::move(m_listeners[index]);
    m_listeners.erase(m_listeners.begin() + index);
    m_identities.erase(found);
    // Wait for the calls other threads are making; a call of this thread is
    // the one that is unsubscribing.
    const auto self = std::this_thread::get_id();
    m_idle.wait(lock, [&] {
        return std::all_of(m_reporting.begin(), m_reporting.end(), [&](auto id) { return id == self; });
    });
    lock.unlock();
    // `removed` is released here, after the last call to it.
    return S_OK;
}

void ProgressListeners::Report(IUnknown* source, int64_t received, int64_t total, IUnknown* extra) {
    std::vector<IPtr<_IUIProgressEvent>> listeners;
    {
        std::lock_guard lock(m_lock);
        if (m_listeners.empty()) return;
        listeners = m_listeners;
        m_reporting.push_back(std::this_thread::get_id());
    }
    for (auto& listener : listeners) listener->Progress(source, Clamped(received), Clamped(total), extra);
    // The references go before the call counts as finished: after Advise(x,
    // 0) returns, nothing of this thread touches x.
    listeners.clear();
    {
        std::lock_guard lock(m_lock);
        m_reporting.erase(std::find(m_reporting.begin(), m_reporting.end(), std::this_thread::get_id()));
    }
    m_idle.notify_all();
}

bool ProgressListeners::Empty() const {
    std::lock_guard lock(m_lock);
    return m_listeners.empty();
}

bool ProgressPace::Due(int64_t received, bool last) {
    const auto now = std::chrono::steady_clock::now();
    if (received == m_reported) return false;
    if (!last && m_reported >= 0 && now - m_previous < kInterval) return false;
    m_previous = now;
    m_reported = received;
    return true;
}

} // namespace host
