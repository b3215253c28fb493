// The parameter collection: storage, lookup, access, merging and sorting.
#include "parameters/ParametersCore.h"

#include <algorithm>
#include <climits>
#include <cwctype>
#include <new>
#include <utility>

#include "core/Helpers.h"
#include "sdk/VariantValue.h"

namespace params {

IPtr<IVariant> NewVariantFrom(IUnknown* value) {
    IPtr<IVariant> variant = IPtr<IVariant>::Adopt(CREFString::CreateVariant());
    if (variant) variant->put_Unknown(value);
    return variant;
}

bool SameObject(IUnknown* a, IUnknown* b) {
    if (a == b) return true;
    if (!a || !b) return false;
    IPtr<IUnknown> ia = QueryAs<IUnknown>(a);
    IPtr<IUnknown> ib = QueryAs<IUnknown>(b);
    return ia && ia.Get() == ib.Get();
}

bool NamesEqualAscii(const tagREFString& a, const tagREFString& b) {
    if (a.m_Length != b.m_Length) return false;
    auto fold = [](wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c; };
    for (int32_t i = 0; i < a.m_Length; ++i)
        if (fold(a.m_pString[i]) != fold(b.m_pString[i])) return false;
    return true;
}

bool NamesEqualFolded(const tagREFString& a, const tagREFString& b) {
    if (a.m_Length != b.m_Length) return false;
    for (int32_t i = 0; i < a.m_Length; ++i)
        if (std::towlower(a.m_pString[i]) != std::towlower(b.m_pString[i])) return false;
    return true;
}

} // namespace params

int PARAMETERSCompareByName(const PARAMETEROBJECT* a, const PARAMETEROBJECT* b) {
    CREFString na(a ? a->m_pName.Get() : nullptr);
    CREFString nb(b ? b->m_pName.Get() : nullptr);
    int32_t n = std::min(na.m_Length, nb.m_Length);
    for (int32_t i = 0; i < n; ++i) {
        if (na.m_pString[i] != nb.m_pString[i]) return na.m_pString[i] < nb.m_pString[i] ? -1 : 1;
    }
    return na.m_Length == nb.m_Length ? 0 : (na.m_Length < nb.m_Length ? -1 : 1);
}

CParametersCore::~CParametersCore() { RemoveAllNOLOCK(); }

void CParametersCore::Grow() {
    // The step doubles (10, 20, 40, ...) until the capacity reaches about a
    // million; from then on the array grows linearly by the last step.
    const long long capacity = static_cast<long long>(m_Capacity) + m_Grow;
    if (capacity > INT_MAX) throw std::bad_array_new_length();
    if (capacity < 0xFFFFF) m_Grow *= 2;
    auto items = std::make_unique<std::unique_ptr<PARAMETEROBJECT>[]>(static_cast<size_t>(capacity));
    for (int32_t i = 0; i < m_Count; ++i) items[i] = std::move(m_pItems[i]);
    m_pItems = std::move(items);
    m_Capacity = static_cast<int32_t>(capacity);
}

namespace {
// Gives the caller a new reference on a held interface; E_FAIL when none is held.
template <class T>
HRESULT HandOut(const IPtr<T>& held, T** out) {
    if (!held) return E_FAIL;
    held->AddRef();
    *out = held.Get();
    return S_OK;
}
} // namespace

HRESULT CParametersCore::AddNOLOCK(IString* name, IUnknown* value, IUnknown* descriptor, int32_t flags) {
    IPtr<IVariant> variant = QueryAs<IVariant>(value);
    if (!variant) {
        if (value) {
            variant = params::NewVariantFrom(value);
        } else {
            IPtr<IString> empty = IPtr<IString>::Adopt(ISCreate(L""));
            variant = params::NewVariantFrom(empty.Get());
        }
        // Without a host variant there is nothing to hold the value.
        if (!variant) return E_FAIL;
    }
    if (m_Count == m_Capacity) Grow();
    auto item = std::make_unique<PARAMETEROBJECT>();
    item->m_pName.Reset(name);
    item->m_pValue = std::move(variant);
    item->m_pDescriptor.Reset(descriptor);
    item->m_Flags = flags;
    m_pItems[m_Count] = std::move(item);
    ++m_Count;
    return S_OK;
}

HRESULT CParametersCore::getParameter(PARAMETEROBJECT* item, IUnknown** value) {
    if (!value) return E_POINTER;
    *value = nullptr;
    if (!item) return E_FAIL;
    if (IPtr<IInputParameter> input = item->m_pDescriptor.Query<IInputParameter>()) {
        IPtr<IUnknown> bound;
        if (SUCCEEDED(input->get_Value(bound.Out())) && bound) {
            *value = bound.Detach();
            return S_FALSE;
        }
    }
    if (!item->m_pValue) return E_FAIL;
    item->m_pValue->AddRef();
    *value = item->m_pValue.Get();
    return S_OK;
}

HRESULT CParametersCore::get_ItemNOLOCK(int32_t index, IUnknown** item) {
    if (!item) return E_POINTER;
    *item = nullptr;
    if (!IsValidIndex(index)) return E_INVALIDARG;
    IPtr<IUnknown> value;
    getParameter(m_pItems[index].get(), value.Out());
    IPtr<IUnknown> result = UnwrapVariant(value.Get());
    if (!result) return E_FAIL;
    *item = result.Detach();
    return S_OK;
}

HRESULT CParametersCore::get_ItemVariantNOLOCK(int32_t index, IVariant** value) {
    if (!value) return E_POINTER;
    *value = nullptr;
    if (!IsValidIndex(index)) return E_INVALIDARG;
    IPtr<IUnknown> effective;
    HRESULT hr = getParameter(m_pItems[index].get(), effective.Out());
    if (FAILED(hr)) return hr;
    IPtr<IVariant> variant = effective.Query<IVariant>();
    if (!variant) variant = params::NewVariantFrom(effective.Get());
    if (!variant) return E_FAIL;
    *value = variant.Detach();
    return S_OK;
}

HRESULT CParametersCore::put_ItemNOLOCK(int32_t index, IUnknown* value) {
    if (!IsValidIndex(index)) return E_INVALIDARG;
    IPtr<IVariant> variant = QueryAs<IVariant>(value);
    if (!variant) variant = params::NewVariantFrom(value);
    if (!variant) return E_FAIL;
    m_pItems[index]->m_pValue = std::move(variant);
    return S_OK;
}

HRESULT CParametersCore::get_ItemNameNOLOCK(int32_t index, IString** name) {
    if (!name) return E_POINTER;
    *name = nullptr;
    if (!IsValidIndex(index)) return E_INVALIDARG;
    return HandOut(m_pItems[index]->m_pName, name);
}

HRESULT CParametersCore::IndexOfName(const tagREFString& name, int32_t* index) const {
    *index = -1;
    if (name.m_Length < 1 || m_Count == 0) return E_FAIL;
    for (int32_t i = 0; i < m_Count; ++i) {
        if (params::NamesEqualAscii(CREFString(m_pItems[i]->m_pName.Get()), name)) {
            *index = i;
            return S_OK;
        }
    }
    return E_FAIL;
}

HRESULT CParametersCore::IndexOfObject(IUnknown* object, int32_t* index) const {
    if (!object) return E_FAIL;
    for (int32_t i = 0; i < m_Count; ++i) {
        IVariant* value = m_pItems[i]->m_pValue.Get();
        if (!value || !value->IsObject()) continue;
        IPtr<IUnknown> held;
        value->get_Object(held.Out());
        if (params::SameObject(held.Get(), object)) {
            *index = i;
            return S_OK;
        }
    }
    for (int32_t i = 0; i < m_Count; ++i) {
        IUnknown* descriptor = m_pItems[i]->m_pDescriptor.Get();
        if (descriptor && params::SameObject(descriptor, object)) {
            *index = i;
            return S_OK;
        }
    }
    return E_FAIL;
}

HRESULT CParametersCore::get_IndexNOLOCK(IUnknown* key, int32_t* index) {
    if (!index) return E_POINTER;
    IPtr<IString> name = QueryAs<IString>(key);
    IPtr<IVariant> variant = QueryAs<IVariant>(key);
    IPtr<IUnknown> object;
    if (variant) {
        if (variant->IsNumber()) {
            int32_t number = 0;
            variant->get_Integer(&number);
            *index = number;
            return S_OK;
        }
        if (variant->IsString()) {
            variant->get_String(name.Out());
        } else if (variant->IsObject()) {
            name.Release();
            variant->get_Object(object.Out());
        } else if (!name) {
            // An empty variant names nothing.
            *index = -1;
            return E_FAIL;
        }
    } else if (!name) {
        object.Reset(key);
    }
    if (name) return IndexOfName(CREFString(name.Get()), index);
    return IndexOfObject(object.Get(), index);
}

HRESULT CParametersCore::IterateNOLOCK(int32_t index, IString** name, IVariant** value, IUnknown** descriptor,
                                       int32_t* flags) {
    if (!IsValidIndex(index)) return E_INVALIDARG;
    PARAMETEROBJECT* item = m_pItems[index].get();
    HRESULT hr = S_OK;
    if (value) hr = get_ItemVariantNOLOCK(index, value);
    if (descriptor && item->m_pDescriptor) {
        item->m_pDescriptor->AddRef();
        *descriptor = item->m_pDescriptor.Get();
    }
    if (flags) *flags = item->m_Flags;
    if (name) {
        *name = item->m_pName.Get();
        if (*name) (*name)->AddRef();
    }
    return hr;
}

HRESULT CParametersCore::get_ItemDescriptorNOLOCK(int32_t index, IUnknown** descriptor) {
    if (!descriptor) return E_POINTER;
    *descriptor = nullptr;
    if (!IsValidIndex(index)) return E_INVALIDARG;
    return HandOut(m_pItems[index]->m_pDescriptor, descriptor);
}

HRESULT CParametersCore::put_ItemDescriptorNOLOCK(int32_t index, IUnknown* descriptor) {
    if (!IsValidIndex(index)) return E_INVALIDARG;
    m_pItems[index]->m_pDescriptor.Reset(descriptor);
    return S_OK;
}

HRESULT CParametersCore::RenameNOLOCK(int32_t index, IString* name) {
    if (!IsValidIndex(index)) return E_INVALIDARG;
    m_pItems[index]->m_pName.Reset(name);
    return S_OK;
}

int32_t CParametersCore::GetNOLOCK(IUnknown* key, IUnknown** value, IUnknown** descriptor, int32_t* flags,
                                   int32_t mode) {
    int32_t index = -1;
    // A numeric key is taken as the index unchecked; one out of range finds
    // nothing here.
    if (FAILED(get_IndexNOLOCK(key, &index)) || !IsValidIndex(index)) return -1;
    PARAMETEROBJECT* item = m_pItems[index].get();

    IPtr<IUnknown> result;
    if (mode & 1) {
        if (IPtr<IInputParameter> input = item->m_pDescriptor.Query<IInputParameter>())
            input->get_Value(result.Out());
    }
    // An input that yields nothing leaves the stored value.
    if (!result) result.Reset(item->m_pValue.Get());
    if (mode & 2) result = UnwrapVariant(result.Get());
    if (value) *value = result.Detach();
    if (descriptor) {
        *descriptor = item->m_pDescriptor.Get();
        if (*descriptor) (*descriptor)->AddRef();
    }
    if (flags) *flags = item->m_Flags;
    return index;
}

HRESULT CParametersCore::SetNOLOCK(IUnknown* key, IUnknown* value, IUnknown* descriptor, int32_t flags,
                                   int32_t mode) {
    int32_t index = -1;
    if (FAILED(get_IndexNOLOCK(key, &index))) {
        if (IPtr<IString> name = QueryAs<IString>(key))
            return AddNOLOCK(name.Get(), value, descriptor, flags);
        if (IPtr<IVariant> variant = QueryAs<IVariant>(key)) {
            IPtr<IString> name = IPtr<IString>::Adopt(ISCreate(variant.Get()));
            return AddNOLOCK(name.Get(), value, descriptor, flags);
        }
        return E_FAIL;
    }
    // A numeric key out of range is refused here, changing nothing.
    HRESULT hr = put_ItemNOLOCK(index, value);
    if (FAILED(hr)) return hr;
    PARAMETEROBJECT* item = m_pItems[index].get();
    if (descriptor)
        item->m_pDescriptor.Reset(descriptor);
    else if (mode & 1)
        item->m_pDescriptor.Release();
    if (flags != 0 || (mode & 2)) item->m_Flags = flags;
    return S_OK;
}

HRESULT CParametersCore::RemoveNOLOCK(int32_t index) {
    if (!IsValidIndex(index)) return E_INVALIDARG;
    std::unique_ptr<PARAMETEROBJECT> removed = std::move(m_pItems[index]);
    for (int32_t i = index; i + 1 < m_Count; ++i) m_pItems[i] = std::move(m_pItems[i + 1]);
    --m_Count;
    // The references go only once the collection is consistent again.
    removed.reset();
    return S_OK;
}

void CParametersCore::RemoveAllNOLOCK() {
    // The count drops first, so that code run by a release sees an empty
    // collection rather than records being freed.
    const int32_t count = std::exchange(m_Count, 0);
    for (int32_t i = 0; i < count; ++i) m_pItems[i].reset();
}

void CParametersCore::SortNOLOCK(int32_t order) {
    std::sort(m_pItems.get(), m_pItems.get() + m_Count,
              [](const std::unique_ptr<PARAMETEROBJECT>& a, const std::unique_ptr<PARAMETEROBJECT>& b) {
                  return PARAMETERSCompareByName(a.get(), b.get()) < 0;
              });
    if ((order & 2) && m_Count >= 2) {
        for (int32_t i = 0; i < m_Count / 2; ++i) std::swap(m_pItems[i], m_pItems[m_Count - 1 - i]);
    }
}

HRESULT CParametersCore::CopyFrom(IParameters* source) {
    if (!source) return S_OK;
    int32_t count = 0;
    source->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        IPtr<IVariant> value;
        IPtr<IUnknown> descriptor;
        int32_t flags = 0;
        if (FAILED(source->Iterate(i, name.Out(), value.Out(), descriptor.Out(), &flags))) continue;
        // The two collections never share a variant.
        IPtr<IVariant> copy = params::NewVariantFrom(value.Get());
        ScopedLock lock(*this);
        SetNOLOCK(name.Get(), copy.Get(), descriptor.Get(), flags, 3);
    }
    return S_OK;
}

bool CParametersCore::IsSelf(IUnknown* object) { return params::SameObject(object, ParametersObject()); }
