// An owning smart pointer for interface pointers, and how interface
// pointers are passed in this code base:
// - a raw `I*` parameter is borrowed for the call: the callee takes its own
//   reference (an IPtr) if it keeps the pointer;
// - a function returning `IPtr<I>` gives the caller one reference;
// - an `I**` out-parameter receives one reference; write it through
//   `Out()` (which releases what the IPtr held first);
// - `IPtr<I>::Adopt(p)` takes over the reference a maker already gave;
//   `Detach()` hands the held reference on, and must not be dropped.
// The interface type carries its identifier (InterfaceInfo, sdk/
// InterfaceTraits.h): `QueryAs<IShadow>(p)` and `ptr.Query<IStep>()`.
//
// Every reset detaches the member first and then releases the old value, so
// that code running inside that Release never sees a pointer to an object
// being torn down.
#pragma once

#include <utility>

#include "Unknown.h"

// Each interface's identifier and parent, specialised in
// sdk/InterfaceTraits.h (which sdk/Framework.h includes).
template <class T>
struct InterfaceInfo;

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
    [[nodiscard]] T* Detach() { return std::exchange(m_p, nullptr); }

    // The address for an output argument; the old value is released first.
    T** Out() {
        Release();
        return &m_p;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }

    // Asks the held object for another interface.
    template <class U>
    IPtr<U> Query() const {
        IPtr<U> r;
        if (m_p) m_p->QueryInterface(InterfaceInfo<U>::Id(), r.OutVoid());
        return r;
    }

    // The identifier of T, for the calls whose protocol takes one beside
    // the out-parameter: creator(&IPtr<IVariant>::Id(), variant.OutVoid()).
    static const IID& Id() { return InterfaceInfo<T>::Id(); }

    T* Get() const { return m_p; }
    T* operator->() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }

private:
    T* m_p = nullptr;
};

// Asks any interface pointer for another interface.
template <class U>
IPtr<U> QueryAs(IUnknown* p) {
    IPtr<U> r;
    if (p) p->QueryInterface(InterfaceInfo<U>::Id(), r.OutVoid());
    return r;
}
