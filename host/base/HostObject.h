// The base of every counted object of the host runtime and the command line:
// an atomic reference count and a QueryInterface that answers each listed
// interface and the interfaces it derives from. The first listed interface
// also stands for IUnknown. Objects are made with one reference and
// destroyed by the Release that drops the last one; destructors are not
// public.
#pragma once

#include <atomic>
#include <tuple>
#include <type_traits>

#include "sdk/InterfaceTraits.h"

namespace host {

template <class... Interfaces>
class HostObject : public Interfaces... {
public:
    HostObject() = default;
    HostObject(const HostObject&) = delete;
    HostObject& operator=(const HostObject&) = delete;

    HRESULT QueryInterface(const IID& iid, void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown) {
            *out = FirstInterface();
        } else {
            (void)((InterfaceAnswers<Interfaces>(iid) ? (*out = static_cast<Interfaces*>(this), true) : false) ||
                   ...);
            if (!*out) *out = QueryExtra(iid);
        }
        if (!*out) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    uint32_t AddRef() override { return m_refs.fetch_add(1, std::memory_order_acq_rel) + 1; }
    uint32_t Release() override {
        uint32_t left = m_refs.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) {
            // Stabilised: a clean-up in the destructor that takes and drops
            // a reference must not bring the count to zero a second time.
            m_refs.store(1, std::memory_order_relaxed);
            delete this;
        }
        return left;
    }

protected:
    virtual ~HostObject() = default;
    // Further interfaces a component answers without deriving from them;
    // returns the interface pointer (no reference taken) or null.
    virtual void* QueryExtra(const IID&) { return nullptr; }
    IUnknown* FirstInterface() {
        using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;
        return static_cast<First*>(this);
    }

private:
    std::atomic<uint32_t> m_refs{1};
};

// Creates a host component and returns the requested interface, or
// E_NOINTERFACE (destroying the new object) when it does not answer it.
template <class T, class... Args>
HRESULT CreateHostComponent(const IID* iid, void** out, Args&&... args) {
    if (!out) return E_POINTER;
    *out = nullptr;
    T* object = new T(std::forward<Args>(args)...);
    HRESULT hr = object->QueryInterface(iid ? *iid : IID_IUnknown, out);
    object->Release();
    return hr;
}

// The typed form: CreateHostComponent<FolderStream>(stream, state, node)
// fills an IPtr<IDataStream> with a new FolderStream.
template <class T, class I, class... Args>
HRESULT CreateHostComponent(IPtr<I>& out, Args&&... args) {
    return CreateHostComponent<T>(&InterfaceInfo<I>::Id(), out.OutVoid(), std::forward<Args>(args)...);
}

} // namespace host
