// A host's component collection that counts its references and records
// what it is asked to create, for tests of how a module holds and uses the
// host collection. It lives on the test's stack and is never deleted
// through Release.
#pragma once

#include <atomic>
#include <string>

#include "sdk/Framework.h"

class CountingCollection final : public IComponentCollection {
public:
    HRESULT QueryInterface(const IID& iid, void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_ISimpleCollection || iid == IID_INamedCollection ||
            iid == IID_IComponentCollection) {
            *out = static_cast<IComponentCollection*>(this);
            AddRef();
            return S_OK;
        }
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++m_refs; }
    uint32_t Release() override { return --m_refs; }

    // Refs() counts every reference taken on the collection, the module's
    // included; a fresh collection has none.
    uint32_t Refs() const { return m_refs.load(); }

    HRESULT get_Count(int32_t* count) override {
        if (count) *count = 0;
        return S_OK;
    }
    HRESULT get_Item(int32_t, IUnknown**) override { return E_FAIL; }
    HRESULT get_Index(IUnknown*, int32_t*) override { return E_FAIL; }
    HRESULT get_ItemName(int32_t, IString**) override { return E_FAIL; }
    HRESULT Rename(int32_t, IString*) override { return E_FAIL; }
    HRESULT CollectionLock() override { return S_OK; }
    HRESULT CollectionUnlock() override { return S_OK; }
    HRESULT IsCollectionLocked() override { return 0; }
    // Records the name asked for, passes the request on to `askBack` when
    // set, and answers `createAnswer`.
    HRESULT CreateComponent(tagREFString name, const IID* iid, void** out) override {
        ++calls;
        asked.assign(name.m_pString, static_cast<size_t>(name.m_Length));
        if (out) *out = nullptr;
        if (askBack) askBack->CreateComponent(name, iid, out);
        return createAnswer;
    }
    HRESULT LoadModule(tagREFString) override { return E_FAIL; }

    HRESULT createAnswer = E_FAIL;
    IComponentCollection* askBack = nullptr;
    int calls = 0;
    std::wstring asked; // the last name asked for

private:
    std::atomic<uint32_t> m_refs{0};
};
