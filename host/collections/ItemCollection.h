// The host's general collection of named items ("SuperCollection"), written
// once as a template so that other host components (listings, page lists)
// can add interfaces of their own on the same object.
//
// Each item is a name, the item object, an optional descriptor and a flags
// word. Names are looked up through a hash index, so lookups stay cheap in
// collections of hundreds of thousands of items. Two match modes exist:
// ASCII case-blind (the default: only 'A'..'Z' fold to 'a'..'z') and exact.
//
// Keys of get_Index, in the order tried:
//   - a string: the name; an empty name is never found;
//   - a variant holding a number: that number is the index, returned without
//     a range check (later index checks catch a bad one);
//   - a variant holding a string: the name;
//   - a variant holding an object, or any other object: first the item that
//     is that object, then the item whose descriptor is that object.
// Duplicate names are allowed; a lookup finds the first.
//
// Names given as IString are copied into strings that cannot be changed, so
// neither the caller's string nor a name handed out by get_ItemName can
// change an item's name (the index refers to the names' own text). An item added without a name (null key)
// has none: get_ItemName answers E_FAIL for it.
#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/base/HostObject.h"
#include "host/base/OwnedLock.h"
#include "host/collections/NameIndex.h"
#include "host/values/HostStrings.h"

namespace host {

template <class... Extra>
class ItemCollectionImpl : public HostObject<ISuperCollection, Extra...> {
public:
    explicit ItemCollectionImpl(NameMatch match = NameMatch::AsciiCaseBlind) : m_byName(match) {}

    // ---- ISimpleCollection
    HRESULT get_Count(int32_t* count) override {
        if (!count) return E_POINTER;
        *count = ItemCount();
        return S_OK;
    }
    // The item with one reference; E_FAIL for an item stored as null.
    HRESULT get_Item(int32_t index, IUnknown** item) override {
        if (!item) return E_POINTER;
        *item = nullptr;
        OwnedLockGuard guard(m_lock);
        if (!ValidIndex(index)) return E_INVALIDARG;
        IPtr<IUnknown> copy(m_items[static_cast<size_t>(index)].item);
        if (!copy) return E_FAIL;
        *item = copy.Detach();
        return S_OK;
    }

    // ---- INamedCollection
    HRESULT get_Index(IUnknown* key, int32_t* index) override {
        if (!index) return E_POINTER;
        if (!key) {
            *index = -1;
            return E_INVALIDARG;
        }
        if (IPtr<IString> name = QueryAs<IString>(key)) return IndexOfName(TextOf(name.Get()), index);
        if (IPtr<IVariant> variant = QueryAs<IVariant>(key)) {
            if (variant->IsNumber()) {
                int32_t number = 0;
                variant->get_Integer(&number);
                *index = number;
                return S_OK;
            }
            if (variant->IsString()) {
                IPtr<IString> name;
                variant->get_String(name.Out());
                return IndexOfName(TextOf(name.Get()), index);
            }
            if (variant->IsObject()) {
                IPtr<IUnknown> object;
                variant->get_Object(object.Out());
                return IndexOfObject(object.Get(), index);
            }
            *index = -1; // an empty variant names nothing
            return E_INVALIDARG;
        }
        return IndexOfObject(key, index);
    }
    HRESULT get_ItemName(int32_t index, IString** name) override {
        if (!name) return E_POINTER;
        *name = nullptr;
        OwnedLockGuard guard(m_lock);
        if (!ValidIndex(index)) return E_INVALIDARG;
        IPtr<IString> copy(m_items[static_cast<size_t>(index)].name);
        if (!copy) return E_FAIL;
        *name = copy.Detach();
        return S_OK;
    }
    // A null name removes the item's name. Duplicates are not checked.
    HRESULT Rename(int32_t index, IString* name) override {
        IPtr<IString> copy;
        if (name) copy = MakeFixedString(TextOf(name));
        OwnedLockGuard guard(m_lock);
        if (!ValidIndex(index)) return E_INVALIDARG;
        Entry& entry = m_items[static_cast<size_t>(index)];
        entry.text = TextOf(copy.Get());
        entry.hash = m_byName.Hash(entry.text);
        std::swap(entry.name, copy);
        m_indexStale = true;
        return S_OK;
    }
    // A real lock (recursive, per thread) plus the plain flag that
    // IsCollectionLocked reports: the flag is not a count, so it reads 0
    // after the first unlock of nested pairs.
    HRESULT CollectionLock() override {
        m_lock.Lock();
        m_locked.store(1);
        return S_OK;
    }
    // E_FAIL when the calling thread does not hold the lock.
    HRESULT CollectionUnlock() override {
        if (!m_lock.HeldByCurrentThread()) return E_FAIL;
        m_locked.store(0);
        m_lock.Unlock();
        return S_OK;
    }
    HRESULT IsCollectionLocked() override { return m_locked.load() ? 1 : 0; }

    // ---- ISuperCollection
    // The key is a string, a variant holding a string, or null (no name);
    // anything else is refused with E_INVALIDARG.
    HRESULT Add(IUnknown* key, IUnknown* item, IUnknown* descriptor, int32_t flags) override {
        IPtr<IString> name;
        if (key) {
            name = QueryAs<IString>(key);
            if (!name) {
                IPtr<IVariant> variant = QueryAs<IVariant>(key);
                if (!variant || !variant->IsString()) return E_INVALIDARG;
                variant->get_String(name.Out());
            }
            name = MakeFixedString(TextOf(name.Get()));
        }
        Append(std::move(name), item, descriptor, flags);
        return S_OK;
    }
    HRESULT Remove(int32_t index) override {
        Entry removed;
        {
            OwnedLockGuard guard(m_lock);
            if (!ValidIndex(index)) return E_INVALIDARG;
            removed = std::move(m_items[static_cast<size_t>(index)]);
            m_items.erase(m_items.begin() + index);
            m_indexStale = true;
        }
        return S_OK; // the removed references are dropped outside the lock
    }
    HRESULT RemoveAll() override {
        ClearItems();
        return S_OK;
    }
    HRESULT get_ItemDescriptor(int32_t index, IUnknown** descriptor) override {
        if (!descriptor) return E_POINTER;
        *descriptor = nullptr;
        OwnedLockGuard guard(m_lock);
        if (!ValidIndex(index)) return E_INVALIDARG;
        IPtr<IUnknown> copy(m_items[static_cast<size_t>(index)].descriptor);
        if (!copy) return E_FAIL;
        *descriptor = copy.Detach();
        return S_OK;
    }
    HRESULT get_ItemFlags(int32_t index, int32_t* flags) override {
        if (!flags) return E_POINTER;
        OwnedLockGuard guard(m_lock);
        if (!ValidIndex(index)) return E_INVALIDARG;
        *flags = m_items[static_cast<size_t>(index)].flags;
        return S_OK;
    }

    // ---- helpers for host code
    // Appends an item named `name` and returns its index.
    int32_t AppendItem(std::wstring_view name, IUnknown* item, IUnknown* descriptor = nullptr, int32_t flags = 0) {
        return Append(MakeFixedString(name), item, descriptor, flags);
    }
    // Makes room for `count` items in all, for a caller about to append many.
    void ReserveItems(size_t count) {
        OwnedLockGuard guard(m_lock);
        m_items.reserve(count);
        if (!m_indexStale) m_byName.Reserve(count);
    }
    int32_t ItemCount() {
        OwnedLockGuard guard(m_lock);
        return static_cast<int32_t>(m_items.size());
    }
    // Borrowed pointers, valid while the item stays in the collection; null
    // for a bad index.
    IUnknown* ItemAt(int32_t index) {
        OwnedLockGuard guard(m_lock);
        return ValidIndex(index) ? m_items[static_cast<size_t>(index)].item.Get() : nullptr;
    }
    IUnknown* DescriptorAt(int32_t index) {
        OwnedLockGuard guard(m_lock);
        return ValidIndex(index) ? m_items[static_cast<size_t>(index)].descriptor.Get() : nullptr;
    }
    // Empty for a bad index or an item without a name.
    std::wstring NameAt(int32_t index) {
        OwnedLockGuard guard(m_lock);
        return ValidIndex(index) ? ToWide(m_items[static_cast<size_t>(index)].name.Get()) : std::wstring();
    }
    int32_t FlagsAt(int32_t index) {
        OwnedLockGuard guard(m_lock);
        return ValidIndex(index) ? m_items[static_cast<size_t>(index)].flags : 0;
    }
    // The index of the first item of this name, or -1.
    int32_t FindName(std::wstring_view name) {
        if (name.empty()) return -1;
        OwnedLockGuard guard(m_lock);
        if (m_indexStale) RebuildIndex();
        return m_byName.Find(name, NameOf());
    }
    void ClearItems() {
        std::vector<Entry> removed;
        {
            OwnedLockGuard guard(m_lock);
            removed.swap(m_items);
            m_byName.Clear();
            m_indexStale = false;
        }
        // `removed` drops the references outside the lock.
    }
    NameMatch Matching() const { return m_byName.Matching(); }

protected:
    ~ItemCollectionImpl() override = default;

private:
    struct Entry {
        IPtr<IString> name;      // null: no name
        std::wstring_view text;  // the name's text, held by `name`; empty is never indexed
        uint32_t hash = 0;       // of `text`, under the collection's matching
        IPtr<IUnknown> item;
        IUnknown* identity = nullptr; // the item's IUnknown, for object keys
        IPtr<IUnknown> descriptor;
        IUnknown* descriptorIdentity = nullptr;
        int32_t flags = 0;
    };

    static IUnknown* IdentityOf(IUnknown* object) {
        // The pointer stays valid after the release: the entry holds the object.
        return QueryAs<IUnknown>(object).Get();
    }

    bool ValidIndex(int32_t index) const { return index >= 0 && static_cast<size_t>(index) < m_items.size(); }

    int32_t Append(IPtr<IString> name, IUnknown* item, IUnknown* descriptor, int32_t flags) {
        Entry entry;
        entry.text = TextOf(name.Get());
        entry.hash = m_byName.Hash(entry.text);
        entry.name = std::move(name);
        entry.item.Reset(item);
        entry.identity = IdentityOf(item);
        entry.descriptor.Reset(descriptor);
        entry.descriptorIdentity = IdentityOf(descriptor);
        entry.flags = flags;
        OwnedLockGuard guard(m_lock);
        const int32_t index = static_cast<int32_t>(m_items.size());
        // The index keeps the first item of a name, so appending never
        // changes an existing entry of it.
        const bool named = !entry.text.empty();
        m_items.push_back(std::move(entry));
        if (!m_indexStale && named) m_byName.Insert(index, m_items.back().hash, NameOf());
        return index;
    }

    void RebuildIndex() {
        m_byName.Clear();
        m_byName.Reserve(m_items.size());
        for (size_t i = 0; i < m_items.size(); ++i)
            if (!m_items[i].text.empty()) m_byName.Insert(static_cast<int32_t>(i), m_items[i].hash, NameOf());
        m_indexStale = false;
    }

    // The text of a host string, valid while the string lives unchanged;
    // empty for null.
    static std::wstring_view TextOf(IString* name) {
        tagREFString view{0, nullptr};
        if (!name || FAILED(name->GetString(&view)) || view.m_Length <= 0 || !view.m_pString) return {};
        return std::wstring_view(view.m_pString, static_cast<size_t>(view.m_Length));
    }

    auto NameOf() const {
        return [this](int32_t i) { return m_items[static_cast<size_t>(i)].text; };
    }

    HRESULT IndexOfName(std::wstring_view name, int32_t* index) {
        *index = FindName(name);
        return *index >= 0 ? S_OK : E_FAIL;
    }

    // Not found leaves *index as it was.
    HRESULT IndexOfObject(IUnknown* object, int32_t* index) {
        if (!object) {
            *index = -1;
            return E_INVALIDARG;
        }
        IUnknown* identity = IdentityOf(object);
        OwnedLockGuard guard(m_lock);
        for (size_t i = 0; i < m_items.size(); ++i) {
            const Entry& e = m_items[i];
            if (e.item && (e.item.Get() == object || (identity && e.identity == identity))) {
                *index = static_cast<int32_t>(i);
                return S_OK;
            }
        }
        for (size_t i = 0; i < m_items.size(); ++i) {
            const Entry& e = m_items[i];
            if (e.descriptor && (e.descriptor.Get() == object || (identity && e.descriptorIdentity == identity))) {
                *index = static_cast<int32_t>(i);
                return S_OK;
            }
        }
        return E_FAIL;
    }

    OwnedLock m_lock;
    std::atomic<int32_t> m_locked{0};
    std::vector<Entry> m_items;
    NameIndex m_byName;
    bool m_indexStale = false;
};

// A new, empty "SuperCollection".
IPtr<ISuperCollection> NewCollection(NameMatch match = NameMatch::AsciiCaseBlind);

} // namespace host
