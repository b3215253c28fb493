// IParametersImpl<C, I>: the ordered, named parameter collection of
// component C, exposed as I (IParameters, or IParametersCreatable for
// components whose items are created and removed from outside).
//
// Every operation that touches items takes the component's lock and calls
// the NOLOCK form of CParametersCore. Index arguments are checked before the
// lock is taken, so a bad index changes nothing. get_Count, the flag
// accessors and IsCollectionLocked take no lock.
//
// Add, Remove, RemoveAll, Copy, Sort and Set exist on every collection: on
// IParametersCreatable they implement the interface's operations, on plain
// IParameters they are members for the component's own code (FinalConstruct
// declares its parameters with Add).
//
// The IUnknown operations are the component's own (SHADOW_INTERFACE_TABLE).
#pragma once

#include <initializer_list>

#include "core/Helpers.h"
#include "parameters/ParametersCore.h"

template <class C, class I>
class IParametersImpl : public I, public CParametersCore {
public:
    // ISimpleCollection, INamedCollection

    HRESULT get_Count(int32_t* count) override {
        if (!count) return E_POINTER;
        *count = ParameterCount();
        return S_OK;
    }
    HRESULT get_Item(int32_t index, IUnknown** item) override {
        ScopedLock lock(*this);
        return get_ItemNOLOCK(index, item);
    }
    HRESULT get_Index(IUnknown* key, int32_t* index) override {
        ScopedLock lock(*this);
        return get_IndexNOLOCK(key, index);
    }
    HRESULT get_ItemName(int32_t index, IString** name) override {
        ScopedLock lock(*this);
        return get_ItemNameNOLOCK(index, name);
    }
    // No check of the new name, nor of duplicates.
    HRESULT Rename(int32_t index, IString* name) override {
        if (!IsValidIndex(index)) return E_INVALIDARG;
        ScopedLock lock(*this);
        return RenameNOLOCK(index, name);
    }
    // The locked flag is a plain word, not a count: after nested pairs it
    // reads 0 from the first unlock on.
    HRESULT CollectionLock() override {
        static_cast<C*>(this)->Lock();
        m_Locked = 1;
        return S_OK;
    }
    HRESULT CollectionUnlock() override {
        static_cast<C*>(this)->Unlock();
        m_Locked = 0;
        return S_OK;
    }
    HRESULT IsCollectionLocked() override { return m_Locked ? 1 : 0; }

    // IParameters

    HRESULT Iterate(int32_t index, IString** name, IVariant** value, IUnknown** descriptor,
                    int32_t* flags) override {
        if (!IsValidIndex(index)) return E_INVALIDARG;
        ScopedLock lock(*this);
        return IterateNOLOCK(index, name, value, descriptor, flags);
    }
    HRESULT get_ItemVariant(int32_t index, IVariant** value) override {
        if (!IsValidIndex(index)) return E_INVALIDARG;
        ScopedLock lock(*this);
        return get_ItemVariantNOLOCK(index, value);
    }
    HRESULT put_Item(int32_t index, IUnknown* value) override {
        if (!IsValidIndex(index)) return E_INVALIDARG;
        ScopedLock lock(*this);
        return put_ItemNOLOCK(index, value);
    }
    HRESULT get_ItemDescriptor(int32_t index, IUnknown** descriptor) override {
        if (!IsValidIndex(index)) return E_INVALIDARG;
        ScopedLock lock(*this);
        return get_ItemDescriptorNOLOCK(index, descriptor);
    }
    HRESULT put_ItemDescriptor(int32_t index, IUnknown* descriptor) override {
        if (!IsValidIndex(index)) return E_INVALIDARG;
        ScopedLock lock(*this);
        return put_ItemDescriptorNOLOCK(index, descriptor);
    }
    HRESULT get_ItemFlags(int32_t index, int32_t* flags) override {
        if (!flags) return E_POINTER;
        if (!IsValidIndex(index)) return E_INVALIDARG;
        *flags = ParameterAt(index)->m_Flags;
        return S_OK;
    }
    HRESULT put_ItemFlags(int32_t index, int32_t flags) override {
        if (!IsValidIndex(index)) return E_INVALIDARG;
        ParameterAt(index)->m_Flags = flags;
        return S_OK;
    }
    // Mode bit 1: the value a bound input yields; bit 2: unwrap the variant.
    HRESULT Get(IUnknown* key, IUnknown** value, IUnknown** descriptor, int32_t* flags, int32_t mode) override {
        ScopedLock lock(*this);
        return GetNOLOCK(key, value, descriptor, flags, mode);
    }

    // Creation and removal (IParametersCreatable, or members)

    HRESULT Add(IString* name, IUnknown* value, IUnknown* descriptor, int32_t flags) {
        ScopedLock lock(*this);
        return AddNOLOCK(name, value, descriptor, flags);
    }
    HRESULT Remove(int32_t index) {
        if (!IsValidIndex(index)) return E_INVALIDARG;
        ScopedLock lock(*this);
        return RemoveNOLOCK(index);
    }
    HRESULT RemoveAll() {
        ScopedLock lock(*this);
        RemoveAllNOLOCK();
        return S_OK;
    }
    HRESULT Copy(IParameters* source) { return CopyFrom(source); }
    // Bit value 2 of `order` reverses the sorted order.
    HRESULT Sort(int32_t order) {
        ScopedLock lock(*this);
        SortNOLOCK(order);
        return S_OK;
    }
    // Mode bit 1: a missing descriptor clears the item's; bit 2: the flags
    // are overwritten even when 0.
    HRESULT Set(IUnknown* key, IUnknown* value, IUnknown* descriptor, int32_t flags, short mode) {
        ScopedLock lock(*this);
        return SetNOLOCK(key, value, descriptor, flags, mode);
    }

    // Declaration helpers for FinalConstruct.

    // Appends an integer parameter; `choices` (the "|"-separated list of a
    // choice parameter) becomes its descriptor when given.
    HRESULT AddIntegerParameter(const wchar_t* name, int32_t value, int32_t flags, const wchar_t* choices = nullptr) {
        IPtr<IVariant> variant = IPtr<IVariant>::Adopt(IVCreate(value));
        return AddDeclared(name, variant.Get(), flags, choices);
    }
    // Appends a text parameter.
    HRESULT AddTextParameter(const wchar_t* name, const wchar_t* text, int32_t flags,
                             const wchar_t* choices = nullptr) {
        IPtr<IString> string = IPtr<IString>::Adopt(ISCreate(text));
        IPtr<IVariant> variant = IPtr<IVariant>::Adopt(IVCreate(string.Get()));
        return AddDeclared(name, variant.Get(), flags, choices);
    }

    // One row of a component's parameter table: a text (empty by default)
    // or an integer with its default, and the flags.
    struct ParameterRow {
        const wchar_t* name;
        bool text;
        int32_t value;
        int32_t flags;
    };
    // Appends the rows in order, each under the collection's lock, as
    // FinalConstruct declares them.
    void AddParameterRows(std::initializer_list<ParameterRow> rows) {
        for (const ParameterRow& row : rows) {
            CollectionLock();
            if (row.text) AddTextParameter(row.name, L"", row.flags);
            else AddIntegerParameter(row.name, row.value, row.flags);
            CollectionUnlock();
        }
    }

    // Readers for Execute, by index in declaration order; they see the value
    // of a bound input like every other reader.
    int32_t ParameterInteger(int32_t index, int32_t fallback = 0) {
        IPtr<IVariant> value;
        int32_t result = fallback;
        if (SUCCEEDED(get_ItemVariant(index, value.Out())) && value && value->IsNumber())
            value->get_Integer(&result);
        return result;
    }
    // The text of a parameter (a new string), or null when it holds none.
    IPtr<IString> ParameterText(int32_t index) {
        IPtr<IUnknown> item;
        if (FAILED(get_Item(index, item.Out()))) return {};
        return item.template Query<IString>();
    }

protected:
    IParametersImpl() = default;
    ~IParametersImpl() override = default;

    void LockParameters() override { static_cast<C*>(this)->Lock(); }
    void UnlockParameters() override { static_cast<C*>(this)->Unlock(); }
    IUnknown* ParametersObject() override { return static_cast<I*>(this); }

private:
    HRESULT AddDeclared(const wchar_t* name, IVariant* value, int32_t flags, const wchar_t* choices) {
        if (!value) return E_FAIL;
        IPtr<IString> key = IPtr<IString>::Adopt(ISCreate(name));
        IPtr<IString> descriptor;
        if (choices) descriptor.Attach(ISCreate(choices));
        return Add(key.Get(), value, descriptor.Get(), flags);
    }
};
