// "InputParameter" and its moniker "CollectionMoniker": one input of a
// component. The input names a source component of the workspace and,
// optionally, one of that component's parameters; the moniker resolves those
// names within the collection it is bound to, anew on every read, so the
// input always yields the source's current value:
//   - with a parameter name: the source's parameter value (IParameters
//     get_ItemVariant of that name), a variant;
//   - without: the source component itself, asked for the input's declared
//     interface (as it is when the input declares none).
// Reading fails with E_FAIL while the moniker is unbound or the names do not
// resolve. Inputs bound in a ring (a parameter that reads itself through
// other inputs) fail instead of recursing without end.
//
// A bound moniker holds a reference to its collection. The collection holds
// the components, which hold their inputs: the ring is broken when the
// collection is emptied (closing the workspace) or the moniker is bound to
// null.
#pragma once

#include <mutex>
#include <string>

#include "host/base/HostObject.h"

namespace host {

class CollectionMoniker final : public HostObject<ICollectionMoniker> {
public:
    CollectionMoniker() = default;

    // Null unbinds.
    HRESULT BindToCollection(INamedCollection* collection) override;
    HRESULT Resolve(IUnknown** value) override;

    // The names resolved and the interface asked for; set by the input that
    // owns the moniker.
    void SetSourceComponent(std::wstring name);
    void SetSourceParameter(std::wstring name);
    void SetInterface(const IID& iid);
    std::wstring SourceComponent();
    std::wstring SourceParameter();
    IID Interface();

private:
    ~CollectionMoniker() override = default;

    std::mutex m_mutex;
    std::wstring m_component;
    std::wstring m_parameter;
    IID m_iid{};
    IPtr<INamedCollection> m_collection;
};

// The four properties: name, interface (IID_NULL for none), source component
// and source parameter (empty for none). A null string sets an empty one.
class InputParameter final : public HostObject<IInputParameter> {
public:
    InputParameter();

    HRESULT get_Value(IUnknown** value) override;
    HRESULT get_Moniker(IUnknown** moniker) override;
    HRESULT get_Name(IString** name) override;
    HRESULT put_Name(IString* name) override;
    HRESULT get_Interface(IID* iid) override;
    HRESULT put_Interface(const IID* iid) override;
    HRESULT get_SourceComponent(IString** name) override;
    HRESULT put_SourceComponent(IString* name) override;
    HRESULT get_SourceParameter(IString** name) override;
    HRESULT put_SourceParameter(IString* name) override;

private:
    ~InputParameter() override = default;

    std::mutex m_mutex;
    std::wstring m_name;
    IPtr<CollectionMoniker> m_moniker;
};

HRESULT CreateInputParameter(const IID* iid, void** out);
HRESULT CreateCollectionMoniker(const IID* iid, void** out);

} // namespace host
