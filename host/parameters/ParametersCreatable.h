// "ParametersCreatable": the host's own parameter collection, an ordered
// list of items {name, value variant, descriptor, flags} with the same rules
// as a component's parameter collection:
//
// - lookup (get_Index, Get, Set): a string or a variant holding a string is
//   a name, compared with ASCII-only case folding, first match wins, an
//   empty name is never found; a variant holding a number is the index
//   itself, without a range check; any other object is looked up by
//   identity among the values' objects, then among the descriptors;
// - Add never checks names: duplicates and empty names are kept;
// - a value that is no variant is wrapped in a new one (no value at all
//   gives the empty string in Add, an empty variant in put_Item);
// - an item whose descriptor is an IInputParameter that yields a value
//   reads as that value (the input wins over the stored one);
// - Get's mode: 1 = read through a bound input, 2 = unwrap the value to the
//   object or string it holds; its result is the index or -1;
// - Set's mode: 1 = clear the descriptor when none is given, 2 = overwrite
//   the flags even with 0; an unknown name is appended;
// - Copy merges another collection in: items of the same name are
//   overwritten in place (Set with mode 3), the others appended in order;
// - Sort orders by name, case-sensitive by character code; order bit 2
//   reverses the result;
// - the capacity grows by a step that starts at 10 and doubles until the
//   capacity reaches 0xFFFFF, then stays (10, 30, 70, 150, ...); RemoveAll
//   keeps the capacity.
//
// Names are copied when stored. CollectionLock is a real lock, recursive per
// thread, plus the plain flag IsCollectionLocked reports (which reads 0 after
// the first unlock of nested pairs). Values of bound inputs are read without
// the lock held, so that two collections bound to each other cannot
// deadlock.
//
// Save and Load (IDataPersist) use an XML or a folder stream; see
// ParametersPersist.cpp for the format.
#pragma once

#include <atomic>
#include <vector>

#include "host/base/HostObject.h"
#include "host/base/OwnedLock.h"
#include "host/collections/KeyLookup.h"

namespace host {

class ParametersCreatable final : public HostObject<IParametersCreatable, IDataPersist, IObjectInfo> {
public:
    ParametersCreatable() = default;

    // ---- ISimpleCollection, INamedCollection
    HRESULT get_Count(int32_t* count) override;
    HRESULT get_Item(int32_t index, IUnknown** item) override;
    HRESULT get_Index(IUnknown* key, int32_t* index) override;
    HRESULT get_ItemName(int32_t index, IString** name) override;
    HRESULT Rename(int32_t index, IString* name) override;
    HRESULT CollectionLock() override;
    HRESULT CollectionUnlock() override;
    HRESULT IsCollectionLocked() override;

    // ---- IParameters
    HRESULT Iterate(int32_t index, IString** name, IVariant** value, IUnknown** descriptor, int32_t* flags) override;
    HRESULT get_ItemVariant(int32_t index, IVariant** value) override;
    HRESULT put_Item(int32_t index, IUnknown* value) override;
    HRESULT get_ItemDescriptor(int32_t index, IUnknown** descriptor) override;
    HRESULT put_ItemDescriptor(int32_t index, IUnknown* descriptor) override;
    HRESULT get_ItemFlags(int32_t index, int32_t* flags) override;
    HRESULT put_ItemFlags(int32_t index, int32_t flags) override;
    HRESULT Get(IUnknown* key, IUnknown** value, IUnknown** descriptor, int32_t* flags, int32_t mode) override;

    // ---- IParametersCreatable
    HRESULT Add(IString* name, IUnknown* value, IUnknown* descriptor, int32_t flags) override;
    HRESULT Remove(int32_t index) override;
    HRESULT RemoveAll() override;
    HRESULT Copy(IParameters* source) override;
    HRESULT Sort(int32_t order) override;
    HRESULT Set(IUnknown* key, IUnknown* value, IUnknown* descriptor, int32_t flags, short mode) override;

    // ---- IDataPersist
    HRESULT Save(IDataStream* stream, int32_t options) override;
    HRESULT Load(IDataStream* stream, int32_t options) override;

    // ---- IObjectInfo
    HRESULT GetName(int32_t reserved, tagREFString* name) override;

    // The number of items the collection has room for before it grows, and
    // the step of the next growth.
    int32_t Capacity();
    int32_t GrowthStep();

private:
    struct Record {
        IPtr<IString> name;
        IPtr<IVariant> value;
        IPtr<IUnknown> descriptor;
        int32_t flags = 0;
    };
    // A copy of an item's references, taken under the lock.
    struct Snapshot {
        std::wstring name;
        IPtr<IVariant> value;
        IPtr<IUnknown> descriptor;
        int32_t flags = 0;
    };

    ~ParametersCreatable() override = default;

    // These expect the lock to be held.
    bool ValidIndex(int32_t index) const;
    HRESULT FindIndex(const LookupKey& key, int32_t* index) const;
    HRESULT AppendRecord(IPtr<IString> name, IPtr<IVariant> value, IUnknown* descriptor, int32_t flags);

    // The value wrapped as a variant: the value itself when it is one, else a
    // new variant set from it (from "" when null and `emptyString` is set).
    static IPtr<IVariant> WrapValue(IUnknown* value, bool emptyString);
    // The item's value as read: the bound input's value (S_FALSE) or the
    // item's own variant (S_OK); E_INVALIDARG for a bad index.
    HRESULT EffectiveValue(int32_t index, bool throughInput, IPtr<IUnknown>* value);
    std::vector<Snapshot> TakeSnapshot();

    HRESULT SaveXML(IXMLStream* xml, IDataStream* stream, int32_t options);
    HRESULT LoadXML(IXMLStream* xml, int32_t options);
    HRESULT SaveFolder(IFolderStream* folder, int32_t options);
    HRESULT LoadFolder(IFolderStream* folder, int32_t options);

    OwnedLock m_lock;
    std::atomic<int32_t> m_locked{0};
    std::vector<Record> m_items;
    int32_t m_capacity = 0;
    int32_t m_growth = 10;
};

HRESULT CreateParametersCreatable(const IID* iid, void** out);

} // namespace host
