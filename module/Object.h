// The reference-counted core shared by every component of the module:
// creation, counting and teardown (CObject<C>), the component's registered
// name (IObjectInfoImpl<C>), the ordered interface table that answers
// QueryInterface, and the property page helper.
//
// A component class derives first from CObject<C>, then from its interface
// implementations, and names its interfaces once with SHADOW_INTERFACE_TABLE:
//
//   class CShadow final : public CObject<CShadow>, public IObjectInfoImpl<CShadow>, ... {
//   public:
//       static constexpr wchar_t kObjectName[] = L"Shadow";
//       SHADOW_INTERFACE_TABLE(CShadow,
//                              SHADOW_INTERFACE(IObjectInfo),
//                              SHADOW_INTERFACE(IStep),
//                              SHADOW_INPUT_PARAMETERS,
//                              SHADOW_INTERFACE(IParameters))
//   };
//
// The macro defines QueryInterface, AddRef and Release in the final class.
// Being the final overriders, they serve every secondary interface too: the
// compiler's thunks move the interface pointer back to the whole object, so
// a caller may Release through any interface it holds. Inside a base
// template over C, static_cast<C*>(this) reaches the whole object and its
// AddRef, Release, QueryInterface, Lock and Unlock.
#pragma once

#include <atomic>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <utility>

#include "sdk/Framework.h"

// One row of a component's interface table: the identifier and the cast
// from the whole object to the sub-object that answers it. A null cast
// marks the place of IID_IInputParameters, which the component hands on to
// the host input-parameters object it holds.
template <class C>
struct InterfaceEntry {
    const IID* iid;
    void* (*cast)(C* object);
};

template <class C, class I>
void* InterfaceCast(C* object) {
    return static_cast<I*>(object);
}

// For an interface reached through a derived one (IParameters answered by
// the IParametersCreatable sub-object, for instance).
template <class C, class I, class Via>
void* InterfaceCastVia(C* object) {
    return static_cast<I*>(static_cast<Via*>(object));
}

template <class C>
class CObject : public IUnknown {
public:
    CObject() : m_Count(1) {}
    CObject(const CObject&) = delete;
    CObject& operator=(const CObject&) = delete;

    // Refuses everything; a component answers through its interface table.
    HRESULT QueryInterface(const IID&, void** out) override {
        if (out) *out = nullptr;
        return E_NOINTERFACE;
    }

    uint32_t AddRef() override {
        m_Count.fetch_add(1, std::memory_order_acq_rel);
        // The caller holds a reference, so the object cannot vanish between
        // the change and this second read.
        return m_Count.load(std::memory_order_relaxed);
    }

    // The zero test and the returned count come from the decrement itself:
    // a second read after the change could see another thread's decrement
    // (two threads dropping the last two references would both tear the
    // object down) or read memory that thread has already freed.
    uint32_t Release() override {
        const uint32_t left = m_Count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left != 0) return left;
        // Stabilised for the teardown: a FinalRelease that takes and drops a
        // reference must not bring the count to zero a second time. Only
        // calls made during the teardown see the difference.
        m_Count.store(1, std::memory_order_relaxed);
        Destroy(static_cast<C*>(this));
        return 0;
    }

    virtual HRESULT FinalConstruct() { return S_OK; }
    virtual void FinalRelease() {}
    // Slots only: they provide no exclusion.
    virtual void Lock() {}
    virtual void Unlock() {}

    // The creator handed out by the module's registry. The outer object is
    // ignored: aggregation is not supported. A null identifier or result
    // slot is refused with E_POINTER before anything is made.
    static HRESULT _CreateInstance(void* outer, IID* iid, void** out) {
        (void)outer;
        if (!iid || !out) return E_POINTER;
        // Until it is handed out, the guard tears the object down on every
        // way out: a failing status or an exception from FinalConstruct.
        CreationGuard guard{new C()};
        HRESULT hr = guard.object->FinalConstruct();
        if (hr != S_OK) return hr;
        *out = nullptr;
        hr = guard.object->QueryInterface(*iid, out);
        if (FAILED(hr)) return hr;
        // The query's reference is now the only one.
        C* object = guard.Dismiss();
        object->Release();
        return hr;
    }

protected:
    ~CObject() = default;

    // Answers `iid` from the component's table: IID_IUnknown first, then the
    // rows in order, each compared on all 16 bytes.
    HRESULT QueryTable(const IID& iid, void** out, const InterfaceEntry<C>* entries, size_t count) {
        if (!out) return E_POINTER;
        C* object = static_cast<C*>(this);
        if (__IIDEqual(&iid, &IID_IUnknown)) {
            object->AddRef();
            *out = static_cast<IUnknown*>(static_cast<CObject*>(this));
            return S_OK;
        }
        *out = nullptr;
        for (size_t i = 0; i < count; ++i) {
            if (!__IIDEqual(&iid, entries[i].iid)) continue;
            if (entries[i].cast) {
                object->AddRef();
                *out = entries[i].cast(object);
                return S_OK;
            }
            if (IUnknown* held = HeldInputParameters(object))
                return held->QueryInterface(IID_IInputParameters, out);
        }
        return E_NOINTERFACE;
    }

private:
    // The host input-parameters object, when the component keeps one: a
    // base with a public GetInputParameters() (returning the object or
    // null) supplies it.
    static IUnknown* HeldInputParameters(C* object) {
        if constexpr (requires { object->GetInputParameters(); }) {
            return object->GetInputParameters();
        } else {
            return nullptr;
        }
    }

    static void Destroy(C* object) {
        object->FinalRelease();
        delete object;
    }

    struct CreationGuard {
        C* object;
        C* Dismiss() { return std::exchange(object, nullptr); }
        ~CreationGuard() {
            if (object) Destroy(object);
        }
    };

    std::atomic<uint32_t> m_Count;
};

// The component's registered name. The component class provides
// `static constexpr wchar_t kObjectName[]`; every instance reports the same
// text pointer.
template <class C>
class IObjectInfoImpl : public IObjectInfo {
public:
    static inline tagREFString m_ObjectName = {
        static_cast<int32_t>(std::char_traits<wchar_t>::length(C::kObjectName)),
        const_cast<wchar_t*>(C::kObjectName)};

    HRESULT GetName(int32_t, tagREFString* name) override {
        if (!name) return E_POINTER;
        *name = m_ObjectName;
        return S_OK;
    }

protected:
    ~IObjectInfoImpl() = default;
};

// A new host collection holding the page names in order, each added with an
// empty string key, for IUIPropertyPageSpecify::GetPages. E_POINTER for a
// null result slot; E_FAIL (and a null result) when the host cannot make
// the collection or a string.
HRESULT OBJECTPropertyPages(INamedCollection** pages, std::initializer_list<const wchar_t*> names);

#define SHADOW_INTERFACE(I) ::InterfaceEntry<ThisClass>{&IID_##I, &::InterfaceCast<ThisClass, I>}
#define SHADOW_INTERFACE_VIA(I, Via) \
    ::InterfaceEntry<ThisClass>{&IID_##I, &::InterfaceCastVia<ThisClass, I, Via>}
#define SHADOW_INPUT_PARAMETERS ::InterfaceEntry<ThisClass>{&IID_IInputParameters, nullptr}

// Defines the IUnknown operations of component class C: AddRef and Release
// of CObject<C>, and QueryInterface over the listed rows in order. Place it
// in the public part of the class; it adds no access specifier itself.
#define SHADOW_INTERFACE_TABLE(C, ...)                                                        \
    uint32_t AddRef() override { return ::CObject<C>::AddRef(); }                             \
    uint32_t Release() override { return ::CObject<C>::Release(); }                           \
    HRESULT QueryInterface(const IID& iid, void** out) override {                             \
        using ThisClass = C;                                                                  \
        static constexpr ::InterfaceEntry<C> kInterfaceTable[] = {__VA_ARGS__};               \
        return this->QueryTable(iid, out, kInterfaceTable,                                    \
                                sizeof kInterfaceTable / sizeof kInterfaceTable[0]);          \
    }
