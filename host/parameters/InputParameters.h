// "InputParameters": the inputs of a component, an ordered collection of
// "InputParameter" objects named after the inputs. Lookups follow the rules
// of the host's named collections (a name is matched with ASCII-only case
// folding and the first match wins; a variant holding a number is the index
// itself; any other object is looked up by identity among the inputs).
// Names are not checked: two inputs may share one. Rename renames the input.
//
// The collection saves and loads the inputs' sources through an XML or a
// folder stream (IDataPersist); see InputsPersist.cpp for the format.
#pragma once

#include <atomic>
#include <vector>

#include "host/base/HostObject.h"
#include "host/base/OwnedLock.h"

namespace host {

struct SavedInput; // what a stream held of one input

class InputParameters final : public HostObject<IInputParameters, IDataPersist, IObjectInfo> {
public:
    InputParameters() = default;

    // ---- ISimpleCollection, INamedCollection
    HRESULT get_Count(int32_t* count) override;
    HRESULT get_Item(int32_t index, IUnknown** item) override;
    HRESULT get_Index(IUnknown* key, int32_t* index) override;
    HRESULT get_ItemName(int32_t index, IString** name) override;
    HRESULT Rename(int32_t index, IString* name) override;
    HRESULT CollectionLock() override;
    HRESULT CollectionUnlock() override;
    HRESULT IsCollectionLocked() override;

    // ---- IInputParameters
    // A null iid declares an input without an interface.
    HRESULT AddInput(IString* name, const IID* iid) override;
    // The input's value; when the input declares an interface, the value is
    // asked for it (for a variant, the object or string it holds is asked).
    // E_FAIL when the input yields nothing or nothing with that interface.
    HRESULT get_InputValue(int32_t index, IUnknown** value) override;

    // ---- IDataPersist
    HRESULT Save(IDataStream* stream, int32_t options) override;
    HRESULT Load(IDataStream* stream, int32_t options) override;

    // ---- IObjectInfo
    HRESULT GetName(int32_t reserved, tagREFString* name) override;

private:
    ~InputParameters() override = default;

    IPtr<IInputParameter> InputAt(int32_t index);
    std::vector<IPtr<IInputParameter>> Inputs();
    // The index of the first input of this name, or -1.
    int32_t FindName(std::wstring_view name);
    void Clear();
    // Makes an input, appends it and returns it; null when none can be made.
    IPtr<IInputParameter> AppendInput(IString* name, const IID* iid);

    HRESULT SaveXML(IXMLStream* xml);
    HRESULT LoadXML(IXMLStream* xml, int32_t options);
    HRESULT SaveFolder(IFolderStream* folder);
    HRESULT LoadFolder(IFolderStream* folder, int32_t options);
    // Sets the inputs from what was read (see InputsPersist.cpp).
    void ApplySaved(const std::vector<SavedInput>& saved, int32_t options);

    OwnedLock m_lock;
    std::atomic<int32_t> m_locked{0};
    std::vector<IPtr<IInputParameter>> m_inputs;
};

HRESULT CreateInputParameters(const IID* iid, void** out);

} // namespace host
