#include "host/parameters/InputParameters.h"

#include "host/collections/KeyLookup.h"
#include "host/parameters/InputParameter.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {
std::wstring NameOf(IInputParameter* input) {
    IPtr<IString> name;
    if (input) input->get_Name(name.Out());
    return ToWide(name.Get());
}
} // namespace

IPtr<IInputParameter> InputParameters::InputAt(int32_t index) {
    OwnedLockGuard guard(m_lock);
    if (index < 0 || static_cast<size_t>(index) >= m_inputs.size()) return {};
    return m_inputs[static_cast<size_t>(index)];
}

std::vector<IPtr<IInputParameter>> InputParameters::Inputs() {
    OwnedLockGuard guard(m_lock);
    return m_inputs;
}

int32_t InputParameters::FindName(std::wstring_view name) {
    if (name.empty()) return -1;
    OwnedLockGuard guard(m_lock);
    for (size_t i = 0; i < m_inputs.size(); ++i)
        if (AsciiEqualNoCase(NameOf(m_inputs[i].Get()), name)) return static_cast<int32_t>(i);
    return -1;
}

void InputParameters::Clear() {
    std::vector<IPtr<IInputParameter>> removed;
    OwnedLockGuard guard(m_lock);
    removed.swap(m_inputs);
}

HRESULT InputParameters::get_Count(int32_t* count) {
    if (!count) return E_POINTER;
    OwnedLockGuard guard(m_lock);
    *count = static_cast<int32_t>(m_inputs.size());
    return S_OK;
}

HRESULT InputParameters::get_Item(int32_t index, IUnknown** item) {
    if (!item) return E_POINTER;
    *item = nullptr;
    IPtr<IInputParameter> input = InputAt(index);
    if (!input) return E_INVALIDARG;
    *item = input.Detach();
    return S_OK;
}

HRESULT InputParameters::get_Index(IUnknown* key, int32_t* index) {
    if (!index) return E_POINTER;
    const LookupKey lookup = ClassifyKey(key);
    switch (lookup.kind) {
    case LookupKey::Kind::Index:
        *index = lookup.index;
        return S_OK;
    case LookupKey::Kind::Name:
        *index = FindName(lookup.name);
        return *index >= 0 ? S_OK : E_FAIL;
    case LookupKey::Kind::Object: {
        OwnedLockGuard guard(m_lock);
        for (size_t i = 0; i < m_inputs.size(); ++i) {
            if (SameObject(m_inputs[i].Get(), lookup.object.Get())) {
                *index = static_cast<int32_t>(i);
                return S_OK;
            }
        }
        return E_FAIL; // the index is left as it was
    }
    case LookupKey::Kind::None:
        break;
    }
    *index = -1;
    return E_INVALIDARG;
}

HRESULT InputParameters::get_ItemName(int32_t index, IString** name) {
    if (!name) return E_POINTER;
    *name = nullptr;
    IPtr<IInputParameter> input = InputAt(index);
    if (!input) return E_INVALIDARG;
    return input->get_Name(name);
}

HRESULT InputParameters::Rename(int32_t index, IString* name) {
    IPtr<IInputParameter> input = InputAt(index);
    if (!input) return E_INVALIDARG;
    return input->put_Name(name);
}

HRESULT InputParameters::CollectionLock() {
    m_lock.Lock();
    m_locked.store(1);
    return S_OK;
}

HRESULT InputParameters::CollectionUnlock() {
    if (!m_lock.HeldByCurrentThread()) return E_FAIL;
    m_locked.store(0);
    m_lock.Unlock();
    return S_OK;
}

HRESULT InputParameters::IsCollectionLocked() { return m_locked.load() ? 1 : 0; }

IPtr<IInputParameter> InputParameters::AppendInput(IString* name, const IID* iid) {
    IPtr<IInputParameter> input;
    if (FAILED(CreateInputParameter(&IPtr<IInputParameter>::Id(), input.OutVoid())) || !input) return {};
    input->put_Name(name);
    input->put_Interface(iid);
    OwnedLockGuard guard(m_lock);
    m_inputs.push_back(input);
    return input;
}

HRESULT InputParameters::AddInput(IString* name, const IID* iid) { return AppendInput(name, iid) ? S_OK : E_FAIL; }

HRESULT InputParameters::get_InputValue(int32_t index, IUnknown** value) {
    if (!value) return E_POINTER;
    *value = nullptr;
    IPtr<IInputParameter> input = InputAt(index);
    if (!input) return E_INVALIDARG;
    IPtr<IUnknown> yielded;
    if (input->get_Value(yielded.Out()) != S_OK || !yielded) return E_FAIL;
    IID iid = IID_NULL;
    input->get_Interface(&iid);
    if (iid == IID_NULL) {
        *value = yielded.Detach();
        return S_OK;
    }
    if (SUCCEEDED(yielded->QueryInterface(iid, reinterpret_cast<void**>(value))) && *value) return S_OK;
    // A parameter's value comes as a variant: ask what it holds.
    if (IPtr<IVariant> variant = yielded.Query<IVariant>()) {
        IPtr<IUnknown> held;
        if (variant->IsObject()) {
            variant->get_Object(held.Out());
        } else if (variant->IsString()) {
            IPtr<IString> text;
            variant->get_String(text.Out());
            held.Reset(text.Get());
        }
        if (held && SUCCEEDED(held->QueryInterface(iid, reinterpret_cast<void**>(value))) && *value) return S_OK;
    }
    *value = nullptr;
    return E_FAIL;
}

HRESULT InputParameters::GetName(int32_t, tagREFString* name) {
    if (!name) return E_POINTER;
    *name = REFLiteral(L"InputParameters");
    return S_OK;
}

HRESULT CreateInputParameters(const IID* iid, void** out) { return CreateHostComponent<InputParameters>(iid, out); }

} // namespace host
