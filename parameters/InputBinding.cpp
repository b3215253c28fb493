// Binding, persistence and copying of a component's parameters together
// with its inputs.
#include "parameters/InputBinding.h"

#include "core/Helpers.h"
#include "module/Module.h"

namespace {

void BindInput(IUnknown* entry, INamedCollection* collection) {
    IPtr<IInputParameter> input = QueryAs<IInputParameter>(entry);
    if (!input) return;
    IPtr<IUnknown> moniker;
    if (FAILED(input->get_Moniker(moniker.Out()))) return;
    if (IPtr<ICollectionMoniker> bindable = moniker.Query<ICollectionMoniker>())
        bindable->BindToCollection(collection);
}

// The sub-folder `name` of a folder as a data stream, or null.
IPtr<IDataStream> FindSection(IFolderStream* folder, const wchar_t* name) {
    IPtr<INamedCollection> entries;
    if (FAILED(folder->get_Entries(entries.Out())) || !entries) return {};
    IPtr<IString> key = IPtr<IString>::Adopt(ISCreate(name));
    int32_t index = -1;
    IPtr<IUnknown> entry;
    if (!key || FAILED(entries->get_Index(key.Get(), &index)) || FAILED(entries->get_Item(index, entry.Out())))
        return {};
    if (!entry.Query<IFolderStream>()) return {};
    return entry.Query<IDataStream>();
}

IPtr<IDataStream> OpenSection(IFolderStream* folder, const wchar_t* name) {
    IPtr<IFolderStream> sub;
    if (FAILED(folder->OpenFolder(REFLiteral(name), 1, sub.Out()))) return {};
    return sub.Query<IDataStream>();
}

void SaveInputs(IInputParameters* inputs, IDataStream* stream, int32_t options) {
    if (!stream) return;
    if (IPtr<IDataPersist> persist = QueryAs<IDataPersist>(inputs)) persist->Save(stream, options);
}

void LoadInputs(IInputParameters* inputs, IDataStream* stream, int32_t options) {
    if (!stream) return;
    if (IPtr<IDataPersist> persist = QueryAs<IDataPersist>(inputs)) persist->Load(stream, options);
}

IPtr<IInputParameter> InputAt(INamedCollection* inputs, int32_t index) {
    IPtr<IUnknown> entry;
    if (!inputs || FAILED(inputs->get_Item(index, entry.Out()))) return {};
    return entry.Query<IInputParameter>();
}

} // namespace

HRESULT ParameterBindInputs(IUnknown* inputs, IUnknown* collection) {
    IPtr<IInputParameters> list = QueryAs<IInputParameters>(inputs);
    IPtr<INamedCollection> components = QueryAs<INamedCollection>(collection);
    if (!list || !components) return S_OK;
    int32_t count = 0;
    list->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IUnknown> entry;
        if (SUCCEEDED(list->get_Item(i, entry.Out()))) BindInput(entry.Get(), components.Get());
    }
    return S_OK;
}

HRESULT ParameterBindParameterDescriptors(IUnknown* component, IUnknown* collection) {
    IPtr<IParameters> parameters = QueryAs<IParameters>(component);
    IPtr<INamedCollection> components = QueryAs<INamedCollection>(collection);
    if (!parameters || !components) return S_OK;
    for (int32_t i = 0;; ++i) {
        IPtr<IUnknown> descriptor;
        if (FAILED(parameters->Iterate(i, nullptr, nullptr, descriptor.Out(), nullptr))) break;
        if (descriptor) BindInput(descriptor.Get(), components.Get());
    }
    return S_OK;
}

HRESULT PARAMString(IUnknown* component, IUnknown* key, IString** text, bool nonEmpty) {
    if (!text) return E_POINTER;
    *text = nullptr;
    IPtr<IParameters> parameters = QueryAs<IParameters>(component);
    if (!parameters) return E_INVALIDARG;
    int32_t index = -1;
    if (FAILED(parameters->get_Index(key, &index))) return E_FAIL;
    IPtr<IUnknown> item;
    if (FAILED(parameters->get_Item(index, item.Out()))) return E_FAIL;
    IPtr<IString> result = item.Query<IString>();
    if (!result) return E_FAIL;
    if (nonEmpty && CREFString(result.Get()).m_Length < 1) return E_FAIL;
    *text = result.Detach();
    return S_OK;
}

IComponentString* GetComponentString(IString* name) {
    IPtr<IComponentCollection> components = IPtr<IComponentCollection>::Adopt(GLOBALComponents());
    if (!components || !name) return nullptr;
    int32_t index = -1;
    IPtr<IUnknown> entry;
    if (FAILED(components->get_Index(name, &index)) || FAILED(components->get_Item(index, entry.Out())))
        return nullptr;
    return entry.Query<IComponentString>().Detach();
}

void INPUTCopyProperties(IInputParameter* from, IInputParameter* to) {
    if (!from || !to) return;
    IPtr<IString> text;
    if (SUCCEEDED(from->get_Name(text.Out()))) to->put_Name(text.Get());
    IID iid = IID_NULL;
    if (SUCCEEDED(from->get_Interface(&iid))) to->put_Interface(&iid);
    if (SUCCEEDED(from->get_SourceComponent(text.Out()))) to->put_SourceComponent(text.Get());
    if (SUCCEEDED(from->get_SourceParameter(text.Out()))) to->put_SourceParameter(text.Get());
}

HRESULT INPUTSave(CParametersCore& parameters, IInputParameters* inputs, bool sectioned, IDataStream* stream,
                  int32_t options) {
    // XML holds the parameters only, always in compact form.
    if (QueryAs<IXMLStream>(stream)) {
        parameters.Params_SaveXML(stream, PARAMS_COMPACT);
        return S_OK;
    }
    IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream);
    if (!folder) return S_OK;
    const int32_t compact = options | PARAMS_COMPACT;
    if (sectioned) {
        if (IPtr<IDataStream> section = OpenSection(folder.Get(), L"Parameters"))
            parameters.Params_SaveFolderStream(section.Get(), options);
        SaveInputs(inputs, OpenSection(folder.Get(), L"Inputs").Get(), compact);
    } else {
        parameters.Params_SaveFolderStream(stream, compact);
        SaveInputs(inputs, stream, compact);
    }
    return S_OK;
}

HRESULT INPUTLoad(CParametersCore& parameters, IInputParameters* inputs, bool sectioned, IDataStream* stream,
                  int32_t options) {
    if (QueryAs<IXMLStream>(stream)) {
        parameters.Params_LoadXML(stream, sectioned ? (options | PARAMS_REPLACE) : options, 0);
        return S_OK;
    }
    IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream);
    if (!folder) return E_NOTIMPL;
    if (sectioned) {
        // A missing section leaves its part unchanged.
        if (IPtr<IDataStream> section = FindSection(folder.Get(), L"Parameters"))
            parameters.Params_LoadFolderStream(section.Get(), options | PARAMS_REPLACE);
        LoadInputs(inputs, FindSection(folder.Get(), L"Inputs").Get(), options);
    } else {
        parameters.Params_LoadFolderStream(stream, options | PARAMS_COMPACT);
        LoadInputs(inputs, stream, options);
    }
    return S_OK;
}

void INPUTReplicate(CParametersCore& source, IInputParameters* inputs, IParameters* copy) {
    if (!copy) return;
    const int32_t count = source.ParameterCount();
    for (int32_t i = 0; i < count; ++i) {
        PARAMETEROBJECT* item = source.ParameterAt(i);
        IPtr<IUnknown> descriptor(item->m_pDescriptor.Get());
        if (IPtr<IInputParameter> input = descriptor.Query<IInputParameter>()) {
            // The copy gets an input of its own; without one it gets none
            // rather than sharing this component's.
            IPtr<IInputParameter> own = CreateHostObject<IInputParameter>(L"InputParameter");
            INPUTCopyProperties(input.Get(), own.Get());
            descriptor.Attach(own.Detach());
        }
        IPtr<IVariant> value = params::NewVariantFrom(item->m_pValue.Get());
        if (FAILED(copy->put_Item(i, value.Get()))) {
            if (IPtr<IParametersCreatable> creatable =
                    QueryAs<IParametersCreatable>(copy))
                creatable->Add(item->m_pName.Get(), value.Get(), descriptor.Get(), item->m_Flags);
        }
        copy->put_ItemDescriptor(i, descriptor.Get());
    }

    IPtr<IInputParameters> copyInputs = QueryAs<IInputParameters>(copy);
    int32_t inputCount = 0;
    if (inputs) inputs->get_Count(&inputCount);
    for (int32_t i = 0; i < inputCount && copyInputs; ++i) {
        IPtr<IInputParameter> from = InputAt(inputs, i);
        IPtr<IInputParameter> to = InputAt(copyInputs.Get(), i);
        INPUTCopyProperties(from.Get(), to.Get());
    }
}
