#include "host/parameters/InputParameter.h"

#include "host/values/HostStrings.h"

namespace host {

namespace {

// How deep reads may go through inputs that read other inputs before the
// chain is taken for a ring.
constexpr int kMaxResolveDepth = 32;
thread_local int tResolveDepth = 0;

class DepthGuard final {
public:
    DepthGuard() { ++tResolveDepth; }
    ~DepthGuard() { --tResolveDepth; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;
    bool TooDeep() const { return tResolveDepth > kMaxResolveDepth; }
};

bool IsNull(const IID& iid) { return iid == IID_NULL; }

HRESULT ReturnString(const std::wstring& text, IString** out) {
    if (!out) return E_POINTER;
    *out = MakeString(text).Detach();
    return *out ? S_OK : E_FAIL;
}

} // namespace

// ---- CollectionMoniker

HRESULT CollectionMoniker::BindToCollection(INamedCollection* collection) {
    IPtr<INamedCollection> replacement(collection);
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        std::swap(m_collection, replacement);
    }
    return S_OK; // the old collection is released outside the lock
}

HRESULT CollectionMoniker::Resolve(IUnknown** value) {
    if (!value) return E_POINTER;
    *value = nullptr;
    IPtr<INamedCollection> collection;
    std::wstring component, parameter;
    IID iid{};
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        collection = m_collection;
        component = m_component;
        parameter = m_parameter;
        iid = m_iid;
    }
    if (!collection || component.empty()) return E_FAIL;
    DepthGuard depth;
    if (depth.TooDeep()) return E_FAIL;

    int32_t index = -1;
    IPtr<IUnknown> source;
    if (FAILED(collection->get_Index(MakeString(component).Get(), &index)) ||
        FAILED(collection->get_Item(index, source.Out())) || !source)
        return E_FAIL;
    // A collection that keeps its components in variants.
    if (IPtr<IVariant> holder = source.Query<IVariant>(); holder && holder->IsObject()) {
        IPtr<IUnknown> object;
        holder->get_Object(object.Out());
        source = std::move(object);
    }

    if (!parameter.empty()) {
        IPtr<IParameters> parameters = source.Query<IParameters>();
        IPtr<IVariant> current;
        if (!parameters || FAILED(parameters->get_Index(MakeString(parameter).Get(), &index)) ||
            FAILED(parameters->get_ItemVariant(index, current.Out())) || !current)
            return E_FAIL;
        *value = current.Detach();
        return S_OK;
    }
    if (IsNull(iid)) {
        *value = source.Detach();
        return S_OK;
    }
    return SUCCEEDED(source->QueryInterface(iid, reinterpret_cast<void**>(value))) && *value ? S_OK : E_FAIL;
}

void CollectionMoniker::SetSourceComponent(std::wstring name) {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_component = std::move(name);
}

void CollectionMoniker::SetSourceParameter(std::wstring name) {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_parameter = std::move(name);
}

void CollectionMoniker::SetInterface(const IID& iid) {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_iid = iid;
}

std::wstring CollectionMoniker::SourceComponent() {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_component;
}

std::wstring CollectionMoniker::SourceParameter() {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_parameter;
}

IID CollectionMoniker::Interface() {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_iid;
}

// ---- InputParameter

InputParameter::InputParameter() {
    IPtr<ICollectionMoniker> moniker;
    CreateHostComponent<CollectionMoniker>(moniker);
    m_moniker.Attach(static_cast<CollectionMoniker*>(moniker.Detach()));
}

HRESULT InputParameter::get_Value(IUnknown** value) {
    if (!value) return E_POINTER;
    *value = nullptr;
    if (!m_moniker) return E_FAIL;
    HRESULT hr = m_moniker->Resolve(value);
    return SUCCEEDED(hr) && *value ? S_OK : E_FAIL;
}

HRESULT InputParameter::get_Moniker(IUnknown** moniker) {
    if (!moniker) return E_POINTER;
    *moniker = nullptr;
    if (!m_moniker) return E_FAIL;
    return m_moniker->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(moniker));
}

HRESULT InputParameter::get_Name(IString** name) {
    std::wstring text;
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        text = m_name;
    }
    return ReturnString(text, name);
}

HRESULT InputParameter::put_Name(IString* name) {
    std::wstring text = ToWide(name);
    std::lock_guard<std::mutex> guard(m_mutex);
    m_name = std::move(text);
    return S_OK;
}

HRESULT InputParameter::get_Interface(IID* iid) {
    if (!iid) return E_POINTER;
    *iid = m_moniker ? m_moniker->Interface() : IID_NULL;
    return S_OK;
}

HRESULT InputParameter::put_Interface(const IID* iid) {
    if (!m_moniker) return E_FAIL;
    m_moniker->SetInterface(iid ? *iid : IID_NULL);
    return S_OK;
}

HRESULT InputParameter::get_SourceComponent(IString** name) {
    return ReturnString(m_moniker ? m_moniker->SourceComponent() : std::wstring(), name);
}

HRESULT InputParameter::put_SourceComponent(IString* name) {
    if (!m_moniker) return E_FAIL;
    m_moniker->SetSourceComponent(ToWide(name));
    return S_OK;
}

HRESULT InputParameter::get_SourceParameter(IString** name) {
    return ReturnString(m_moniker ? m_moniker->SourceParameter() : std::wstring(), name);
}

HRESULT InputParameter::put_SourceParameter(IString* name) {
    if (!m_moniker) return E_FAIL;
    m_moniker->SetSourceParameter(ToWide(name));
    return S_OK;
}

HRESULT CreateInputParameter(const IID* iid, void** out) { return CreateHostComponent<InputParameter>(iid, out); }

// A moniker on its own has no names to resolve until an input sets them; it
// is creatable by name so that hosts can make and bind one like any other
// component.
HRESULT CreateCollectionMoniker(const IID* iid, void** out) { return CreateHostComponent<CollectionMoniker>(iid, out); }

} // namespace host
