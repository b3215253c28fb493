// The parameter collection's storage and the work behind every collection
// operation, shared by all instantiations of IParametersImpl. The public
// interface operations live in IParametersImpl; they take the component's
// lock and call the NOLOCK forms here. Code that already holds the lock
// (persistence, Get, Set, Iterate) calls the NOLOCK forms directly.
#pragma once

#include <memory>

#include "parameters/ParameterObject.h"

class CParametersCore {
public:
    CParametersCore() = default;
    CParametersCore(const CParametersCore&) = delete;
    CParametersCore& operator=(const CParametersCore&) = delete;

    // Appends a record; no name is checked, duplicates are allowed. A value
    // that is no variant is wrapped in a new one (an empty text when null).
    virtual HRESULT AddNOLOCK(IString* name, IUnknown* value, IUnknown* descriptor, int32_t flags);
    // The effective value unwrapped: the held object, the held string, or
    // the variant itself.
    virtual HRESULT get_ItemNOLOCK(int32_t index, IUnknown** item);
    // The effective value as a variant (a new one when it is no variant).
    virtual HRESULT get_ItemVariantNOLOCK(int32_t index, IVariant** value);
    // Replaces the stored variant: a given variant is stored itself, any
    // other value in a new variant. The old variant is released, not changed.
    virtual HRESULT put_ItemNOLOCK(int32_t index, IUnknown* value);
    virtual HRESULT get_ItemNameNOLOCK(int32_t index, IString** name);

    // Persistence (ParametersPersistence.cpp). A stream without the needed
    // interface is left alone; every operation returns S_OK.
    virtual HRESULT Params_SaveCSV(IDataStream* stream, int32_t options);
    virtual HRESULT Params_SaveXML(IDataStream* stream, int32_t options);
    virtual HRESULT Params_LoadXML(IDataStream* stream, int32_t options, int32_t reserved);
    virtual HRESULT Params_SaveFolderStream(IDataStream* stream, int32_t options);
    virtual HRESULT Params_LoadFolderStream(IDataStream* stream, int32_t options);
    virtual HRESULT Params_SaveXMLUnk(IDataStream* stream, int32_t options);
    virtual HRESULT Params_LoadXMLUnk(IDataStream* stream, int32_t options);

    // The item's effective value with one reference: the value of its bound
    // input (S_FALSE) when the descriptor is an input that yields one, else
    // the stored variant (S_OK); E_FAIL when there is none.
    virtual HRESULT getParameter(PARAMETEROBJECT* item, IUnknown** value);

    // Key lookup: a variant holding a number is the index itself (no range
    // check); a name (string, or variant holding one) is matched ASCII
    // case-blind, first match; an object is matched against the held
    // objects, then against the descriptors.
    HRESULT get_IndexNOLOCK(IUnknown* key, int32_t* index);
    HRESULT IterateNOLOCK(int32_t index, IString** name, IVariant** value, IUnknown** descriptor, int32_t* flags);
    HRESULT get_ItemDescriptorNOLOCK(int32_t index, IUnknown** descriptor);
    HRESULT put_ItemDescriptorNOLOCK(int32_t index, IUnknown* descriptor);
    HRESULT RenameNOLOCK(int32_t index, IString* name);
    // Returns the item's index, or -1 when the key finds none.
    int32_t GetNOLOCK(IUnknown* key, IUnknown** value, IUnknown** descriptor, int32_t* flags, int32_t mode);
    HRESULT SetNOLOCK(IUnknown* key, IUnknown* value, IUnknown* descriptor, int32_t flags, int32_t mode);
    HRESULT RemoveNOLOCK(int32_t index);
    // Empties the collection and keeps the array for reuse.
    void RemoveAllNOLOCK();
    void SortNOLOCK(int32_t order);
    // Merges every item of `source` (Copy); takes the lock per item.
    HRESULT CopyFrom(IParameters* source);

    bool IsValidIndex(int32_t index) const { return index >= 0 && index < m_Count; }
    int32_t ParameterCount() const { return m_Count; }
    int32_t ParameterCapacity() const { return m_Capacity; }
    // The record at a valid index (no reference), or null.
    PARAMETEROBJECT* ParameterAt(int32_t index) const {
        return IsValidIndex(index) ? m_pItems[index].get() : nullptr;
    }
    // The record array itself, to tell whether it was reallocated.
    const void* ParameterArray() const { return m_pItems.get(); }

protected:
    virtual ~CParametersCore();

    // The component's lock (its Lock and Unlock).
    virtual void LockParameters() = 0;
    virtual void UnlockParameters() = 0;
    // The collection as an object, without a reference. Persistence never
    // writes the collection into itself.
    virtual IUnknown* ParametersObject() = 0;

    class ScopedLock final {
    public:
        explicit ScopedLock(CParametersCore& core) : m_core(core) { m_core.LockParameters(); }
        ~ScopedLock() { m_core.UnlockParameters(); }
        ScopedLock(const ScopedLock&) = delete;
        ScopedLock& operator=(const ScopedLock&) = delete;

    private:
        CParametersCore& m_core;
    };

    int32_t m_Locked = 0;

private:
    void Grow();
    HRESULT IndexOfName(const tagREFString& name, int32_t* index) const;
    HRESULT IndexOfObject(IUnknown* object, int32_t* index) const;
    bool IsSelf(IUnknown* object);

    // Persistence helpers (ParametersPersistence.cpp).
    // The item a saved element or entry of this name stands for: the item
    // of that name, else the unnamed item saved as "Item<n>"; -1 for none.
    int32_t FindSavedName(IString* name);
    void SaveXMLItem(IXMLStream* xml, IDataStream* stream, int32_t index, int32_t options);
    void LoadXMLItem(int32_t index, IXMLStream* element);
    void SaveFolderItem(IFolderStream* folder, int32_t index, int32_t options, IPtr<IString>& installPath);
    void LoadFolderAppend(IFolderStream* folder);
    void LoadFolderMatching(IFolderStream* folder);

    std::unique_ptr<std::unique_ptr<PARAMETEROBJECT>[]> m_pItems;
    int32_t m_Count = 0;
    int32_t m_Capacity = 0;
    int32_t m_Grow = 10;
};

// Helpers shared by the parameter code.
namespace params {

// A new variant set from `value` (another variant's value is copied, a
// string held as a string, an object as an object, null empties it).
IPtr<IVariant> NewVariantFrom(IUnknown* value);

// True when both point at the same object (compared through IUnknown).
bool SameObject(IUnknown* a, IUnknown* b);

// Name comparisons: ASCII capitals folded only, or every character folded
// with the wide lower-casing; the lengths must be equal.
bool NamesEqualAscii(const tagREFString& a, const tagREFString& b);
bool NamesEqualFolded(const tagREFString& a, const tagREFString& b);

} // namespace params
