#include "host/parameters/ParametersCreatable.h"

#include <algorithm>
#include <cwchar>

#include "host/values/HostStrings.h"
#include "host/values/ValueText.h"
#include "sdk/VariantValue.h"

namespace host {

namespace {
// The capacity at which the growth step stops doubling.
constexpr int32_t kGrowthLimit = 0xFFFFF;

IPtr<IString> CopyName(IString* name) { return name ? MakeString(ToWide(name)) : IPtr<IString>(); }
} // namespace

bool ParametersCreatable::ValidIndex(int32_t index) const {
    return index >= 0 && static_cast<size_t>(index) < m_items.size();
}

IPtr<IVariant> ParametersCreatable::WrapValue(IUnknown* value, bool emptyString) {
    if (IPtr<IVariant> variant = QueryAs<IVariant>(value)) return variant;
    IPtr<IVariant> wrapped = NewVariant();
    if (!wrapped) return wrapped;
    if (value) {
        wrapped->put_Unknown(value);
    } else if (emptyString) {
        wrapped->put_String(MakeString(L"").Get());
    }
    return wrapped;
}

HRESULT ParametersCreatable::AppendRecord(IPtr<IString> name, IPtr<IVariant> value, IUnknown* descriptor,
                                          int32_t flags) {
    if (!value) return E_FAIL;
    if (static_cast<int32_t>(m_items.size()) >= m_capacity) {
        const int64_t grown = int64_t{m_capacity} + m_growth;
        if (grown > INT32_MAX) return E_FAIL;
        m_capacity = static_cast<int32_t>(grown);
        if (m_capacity < kGrowthLimit) m_growth *= 2;
        m_items.reserve(static_cast<size_t>(m_capacity));
    }
    Record record;
    record.name = std::move(name);
    record.value = std::move(value);
    record.descriptor.Reset(descriptor);
    record.flags = flags;
    m_items.push_back(std::move(record));
    return S_OK;
}

HRESULT ParametersCreatable::FindIndex(const LookupKey& key, int32_t* index) const {
    switch (key.kind) {
    case LookupKey::Kind::Index:
        *index = key.index;
        return S_OK;
    case LookupKey::Kind::Name:
        if (key.name.empty() || m_items.empty()) {
            *index = -1;
            return E_FAIL;
        }
        for (size_t i = 0; i < m_items.size(); ++i) {
            if (AsciiEqualNoCase(ToWide(m_items[i].name.Get()), key.name)) {
                *index = static_cast<int32_t>(i);
                return S_OK;
            }
        }
        *index = -1;
        return E_FAIL;
    case LookupKey::Kind::Object:
        // Values holding the object first, then descriptors; not found leaves
        // the index as it was.
        for (size_t i = 0; i < m_items.size(); ++i) {
            IPtr<IUnknown> held;
            if (m_items[i].value->IsObject() && SUCCEEDED(m_items[i].value->get_Object(held.Out())) &&
                SameObject(held.Get(), key.object.Get())) {
                *index = static_cast<int32_t>(i);
                return S_OK;
            }
        }
        for (size_t i = 0; i < m_items.size(); ++i) {
            if (SameObject(m_items[i].descriptor.Get(), key.object.Get())) {
                *index = static_cast<int32_t>(i);
                return S_OK;
            }
        }
        return E_FAIL;
    case LookupKey::Kind::None:
        break;
    }
    *index = -1;
    return E_INVALIDARG;
}

HRESULT ParametersCreatable::EffectiveValue(int32_t index, bool throughInput, IPtr<IUnknown>* value) {
    IPtr<IVariant> own;
    IPtr<IUnknown> descriptor;
    {
        OwnedLockGuard guard(m_lock);
        if (!ValidIndex(index)) return E_INVALIDARG;
        own = m_items[static_cast<size_t>(index)].value;
        descriptor = m_items[static_cast<size_t>(index)].descriptor;
    }
    if (throughInput) {
        if (IPtr<IInputParameter> input = descriptor.Query<IInputParameter>()) {
            IPtr<IUnknown> bound;
            if (input->get_Value(bound.Out()) == S_OK && bound) {
                *value = std::move(bound);
                return S_FALSE;
            }
        }
    }
    if (!own) return E_FAIL;
    value->Reset(own.Get());
    return S_OK;
}

// ---- ISimpleCollection, INamedCollection

HRESULT ParametersCreatable::get_Count(int32_t* count) {
    if (!count) return E_POINTER;
    OwnedLockGuard guard(m_lock);
    *count = static_cast<int32_t>(m_items.size());
    return S_OK;
}

HRESULT ParametersCreatable::get_Item(int32_t index, IUnknown** item) {
    if (!item) return E_POINTER;
    *item = nullptr;
    IPtr<IUnknown> value;
    HRESULT hr = EffectiveValue(index, true, &value);
    if (FAILED(hr)) return hr;
    IPtr<IUnknown> result = UnwrapVariant(value.Get());
    if (!result) return E_FAIL;
    *item = result.Detach();
    return S_OK;
}

HRESULT ParametersCreatable::get_Index(IUnknown* key, int32_t* index) {
    if (!index) return E_POINTER;
    const LookupKey lookup = ClassifyKey(key);
    OwnedLockGuard guard(m_lock);
    return FindIndex(lookup, index);
}

HRESULT ParametersCreatable::get_ItemName(int32_t index, IString** name) {
    if (!name) return E_POINTER;
    *name = nullptr;
    OwnedLockGuard guard(m_lock);
    if (!ValidIndex(index)) return E_INVALIDARG;
    IPtr<IString> copy = m_items[static_cast<size_t>(index)].name;
    if (!copy) return E_FAIL;
    *name = copy.Detach();
    return S_OK;
}

HRESULT ParametersCreatable::Rename(int32_t index, IString* name) {
    IPtr<IString> copy = CopyName(name);
    OwnedLockGuard guard(m_lock);
    if (!ValidIndex(index)) return E_INVALIDARG;
    std::swap(m_items[static_cast<size_t>(index)].name, copy);
    return S_OK;
}

HRESULT ParametersCreatable::CollectionLock() {
    m_lock.Lock();
    m_locked.store(1);
    return S_OK;
}

HRESULT ParametersCreatable::CollectionUnlock() {
    if (!m_lock.HeldByCurrentThread()) return E_FAIL;
    m_locked.store(0);
    m_lock.Unlock();
    return S_OK;
}

HRESULT ParametersCreatable::IsCollectionLocked() { return m_locked.load() ? 1 : 0; }

// ---- IParameters

HRESULT ParametersCreatable::Iterate(int32_t index, IString** name, IVariant** value, IUnknown** descriptor,
                                     int32_t* flags) {
    IPtr<IString> itemName;
    IPtr<IUnknown> itemDescriptor;
    int32_t itemFlags = 0;
    {
        OwnedLockGuard guard(m_lock);
        if (!ValidIndex(index)) return E_INVALIDARG;
        const Record& record = m_items[static_cast<size_t>(index)];
        itemName = record.name;
        itemDescriptor = record.descriptor;
        itemFlags = record.flags;
    }
    if (value) {
        HRESULT hr = get_ItemVariant(index, value);
        if (FAILED(hr)) return hr;
    }
    if (descriptor && itemDescriptor) *descriptor = itemDescriptor.Detach();
    if (flags) *flags = itemFlags;
    if (name) *name = itemName.Detach();
    return S_OK;
}

HRESULT ParametersCreatable::get_ItemVariant(int32_t index, IVariant** value) {
    if (!value) return E_POINTER;
    *value = nullptr;
    IPtr<IUnknown> effective;
    HRESULT hr = EffectiveValue(index, true, &effective);
    if (FAILED(hr)) return hr;
    IPtr<IVariant> variant = WrapValue(effective.Get(), false);
    if (!variant) return E_FAIL;
    *value = variant.Detach();
    return S_OK;
}

HRESULT ParametersCreatable::put_Item(int32_t index, IUnknown* value) {
    IPtr<IVariant> replacement = WrapValue(value, false);
    if (!replacement) return E_FAIL;
    OwnedLockGuard guard(m_lock);
    if (!ValidIndex(index)) return E_INVALIDARG;
    // The old variant is released, never changed: others may hold it.
    std::swap(m_items[static_cast<size_t>(index)].value, replacement);
    return S_OK;
}

HRESULT ParametersCreatable::get_ItemDescriptor(int32_t index, IUnknown** descriptor) {
    if (!descriptor) return E_POINTER;
    *descriptor = nullptr;
    OwnedLockGuard guard(m_lock);
    if (!ValidIndex(index)) return E_INVALIDARG;
    IPtr<IUnknown> copy = m_items[static_cast<size_t>(index)].descriptor;
    if (!copy) return E_FAIL;
    *descriptor = copy.Detach();
    return S_OK;
}

HRESULT ParametersCreatable::put_ItemDescriptor(int32_t index, IUnknown* descriptor) {
    IPtr<IUnknown> replacement(descriptor);
    OwnedLockGuard guard(m_lock);
    if (!ValidIndex(index)) return E_INVALIDARG;
    std::swap(m_items[static_cast<size_t>(index)].descriptor, replacement);
    return S_OK;
}

HRESULT ParametersCreatable::get_ItemFlags(int32_t index, int32_t* flags) {
    if (!flags) return E_POINTER;
    OwnedLockGuard guard(m_lock);
    if (!ValidIndex(index)) return E_INVALIDARG;
    *flags = m_items[static_cast<size_t>(index)].flags;
    return S_OK;
}

HRESULT ParametersCreatable::put_ItemFlags(int32_t index, int32_t flags) {
    OwnedLockGuard guard(m_lock);
    if (!ValidIndex(index)) return E_INVALIDARG;
    m_items[static_cast<size_t>(index)].flags = flags;
    return S_OK;
}

HRESULT ParametersCreatable::Get(IUnknown* key, IUnknown** value, IUnknown** descriptor, int32_t* flags,
                                 int32_t mode) {
    const LookupKey lookup = ClassifyKey(key);
    int32_t index = -1;
    IPtr<IUnknown> itemDescriptor;
    int32_t itemFlags = 0;
    {
        OwnedLockGuard guard(m_lock);
        if (FAILED(FindIndex(lookup, &index)) || !ValidIndex(index)) return -1;
        itemDescriptor = m_items[static_cast<size_t>(index)].descriptor;
        itemFlags = m_items[static_cast<size_t>(index)].flags;
    }
    IPtr<IUnknown> itemValue;
    if (FAILED(EffectiveValue(index, (mode & 1) != 0, &itemValue))) return -1;
    if (mode & 2) itemValue = UnwrapVariant(itemValue.Get());
    if (value) *value = itemValue.Detach();
    if (descriptor) *descriptor = itemDescriptor.Detach();
    if (flags) *flags = itemFlags;
    return index;
}

// ---- IParametersCreatable

HRESULT ParametersCreatable::Add(IString* name, IUnknown* value, IUnknown* descriptor, int32_t flags) {
    IPtr<IVariant> variant = WrapValue(value, true);
    IPtr<IString> copy = CopyName(name);
    OwnedLockGuard guard(m_lock);
    return AppendRecord(std::move(copy), std::move(variant), descriptor, flags);
}

HRESULT ParametersCreatable::Remove(int32_t index) {
    Record removed;
    {
        OwnedLockGuard guard(m_lock);
        if (!ValidIndex(index)) return E_INVALIDARG;
        removed = std::move(m_items[static_cast<size_t>(index)]);
        m_items.erase(m_items.begin() + index);
    }
    return S_OK; // the removed references are released outside the lock
}

HRESULT ParametersCreatable::RemoveAll() {
    std::vector<Record> removed;
    {
        OwnedLockGuard guard(m_lock);
        removed.swap(m_items);
        m_items.reserve(static_cast<size_t>(m_capacity)); // the capacity is kept
    }
    return S_OK;
}

HRESULT ParametersCreatable::Copy(IParameters* source) {
    if (!source) return S_OK;
    int32_t count = 0;
    if (FAILED(source->get_Count(&count))) return E_FAIL;
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        IPtr<IVariant> value;
        IPtr<IUnknown> descriptor;
        int32_t flags = 0;
        if (FAILED(source->Iterate(i, name.Out(), value.Out(), descriptor.Out(), &flags))) continue;
        // A variant of our own, so that the two collections never share one.
        IPtr<IVariant> copy = NewVariant();
        if (!copy) return E_FAIL;
        copy->put_Unknown(value.Get());
        Set(name.Get(), copy.Get(), descriptor.Get(), flags, 3);
    }
    return S_OK;
}

HRESULT ParametersCreatable::Sort(int32_t order) {
    OwnedLockGuard guard(m_lock);
    std::sort(m_items.begin(), m_items.end(), [](const Record& a, const Record& b) {
        return ToWide(a.name.Get()) < ToWide(b.name.Get());
    });
    if ((order & 2) && m_items.size() >= 2) std::reverse(m_items.begin(), m_items.end());
    return S_OK;
}

HRESULT ParametersCreatable::Set(IUnknown* key, IUnknown* value, IUnknown* descriptor, int32_t flags, short mode) {
    const LookupKey lookup = ClassifyKey(key);
    IPtr<IString> keyName = QueryAs<IString>(key);
    IPtr<IVariant> keyVariant = keyName ? IPtr<IVariant>() : QueryAs<IVariant>(key);
    std::vector<Record> released; // old references, dropped after the lock is left
    OwnedLockGuard guard(m_lock);
    int32_t index = -1;
    if (FAILED(FindIndex(lookup, &index))) {
        IPtr<IString> name;
        if (keyName) {
            name = CopyName(keyName.Get());
        } else if (keyVariant) {
            name = MakeString(VariantText(keyVariant.Get()));
        } else {
            return E_FAIL;
        }
        return AppendRecord(std::move(name), WrapValue(value, true), descriptor, flags);
    }
    if (!ValidIndex(index)) return E_INVALIDARG;
    IPtr<IVariant> replacement = WrapValue(value, false);
    if (!replacement) return E_FAIL;
    Record& record = m_items[static_cast<size_t>(index)];
    released.emplace_back();
    released.back().value = std::exchange(record.value, std::move(replacement));
    if (descriptor) {
        released.back().descriptor = std::exchange(record.descriptor, IPtr<IUnknown>(descriptor));
    } else if (mode & 1) {
        released.back().descriptor = std::exchange(record.descriptor, IPtr<IUnknown>());
    }
    if (flags != 0 || (mode & 2)) record.flags = flags;
    return S_OK;
}

// ---- IObjectInfo

HRESULT ParametersCreatable::GetName(int32_t, tagREFString* name) {
    if (!name) return E_POINTER;
    *name = REFLiteral(L"ParametersCreatable");
    return S_OK;
}

int32_t ParametersCreatable::Capacity() {
    OwnedLockGuard guard(m_lock);
    return m_capacity;
}

int32_t ParametersCreatable::GrowthStep() {
    OwnedLockGuard guard(m_lock);
    return m_growth;
}

HRESULT CreateParametersCreatable(const IID* iid, void** out) {
    return CreateHostComponent<ParametersCreatable>(iid, out);
}

} // namespace host
