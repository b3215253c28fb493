// An owning smart pointer for interface pointers. Every reset detaches the
// member first and then releases the old value, so that code running inside
// that Release never sees a pointer to an object being torn down.
#pragma once

#include <utility>

#include "Unknown.h"

template <class T>
class IPtr final {
public:
    IPtr() = default;
    // Adopts a pointer that already carries a reference.
    static IPtr Adopt(T* p) {
        IPtr r;
        r.m_p = p;
        return r;
    }
    // Takes a new reference on `p`.
    explicit IPtr(T* p) : m_p(p) {
        if (m_p) m_p->AddRef();
    }
    IPtr(const IPtr& o) : IPtr(o.m_p) {}
    IPtr(IPtr&& o) noexcept : m_p(o.Detach()) {}
    IPtr& operator=(const IPtr& o) {
        if (this != &o) Reset(o.m_p);
        return *this;
    }
    IPtr& operator=(IPtr&& o) noexcept {
        if (this != &o) Attach(o.Detach());
        return *this;
    }
    ~IPtr() { Release(); }

    // Detach, then release.
    void Release() {
        T* old = m_p;
        m_p = nullptr;
        if (old) old->Release();
    }
    // Points at `p` with a new reference.
    void Reset(T* p) {
        if (p) p->AddRef();
        Attach(p);
    }
    // Points at `p`, taking over the reference it carries.
    void Attach(T* p) {
        T* old = m_p;
        m_p = p;
        if (old) old->Release();
    }
    T* Detach() { return std::exchange(m_p, nullptr); }

    // The address for an output argument; the old value is released first.
    T** Out() {
        Release();
        return &m_p;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }

    // Asks the held object for another interface.
    template <class U>
    IPtr<U> Query(const IID& iid) const {
        IPtr<U> r;
        if (m_p) m_p->QueryInterface(iid, r.OutVoid());
        return r;
    }

    T* Get() const { return m_p; }
    T* operator->() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }

private:
    T* m_p = nullptr;
};

// Asks any interface pointer for another interface.
template <class U>
IPtr<U> QueryAs(IUnknown* p, const IID& iid) {
    IPtr<U> r;
    if (p) p->QueryInterface(iid, r.OutVoid());
    return r;
}
