// Saving and loading of a component's inputs: what each input is bound to.
//
// XML: one element per input, in order, named after the input ("Input<n>",
// n counted from 1, for an input without a name), holding the leaves
// "Interface" (the declared interface as {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX},
// only when the input declares one), "SourceComponent" and "SourceParameter"
// (both always written, empty when not set):
//   <UILineDisplayable>
//     <Interface>{...}</Interface>
//     <SourceComponent>Console</SourceComponent>
//     <SourceParameter></SourceParameter>
//   </UILineDisplayable>
// Folder stream: one sub-folder per input, named the same way, holding the
// string values "Interface" (when declared), "SourceComponent" and
// "SourceParameter".
//
// Loading matches elements or sub-folders to the inputs by name (ASCII
// case-blind) and sets the source component and parameter of each input
// found from the entries present; the declared interface stays as the
// component declared it. Entries without an input are ignored. With the
// option PARAMS_REPLACE the inputs are dropped and one input is made for
// every element or sub-folder that holds a "SourceComponent" entry (others,
// for example a parameter stored in the same folder, are passed over), with
// the interface that was saved.
#include "host/collections/KeyLookup.h"
#include "host/parameters/InputParameters.h"
#include "host/values/HostStrings.h"
#include "host/values/ValueText.h"

namespace host {

// What was saved of one input; a missing entry stays unset.
struct SavedInput {
    std::wstring name;
    bool hasInterface = false, hasComponent = false, hasParameter = false;
    IID iid = IID_NULL;
    std::wstring component, parameter;
};

namespace {

const wchar_t kInterface[] = L"Interface";
const wchar_t kSourceComponent[] = L"SourceComponent";
const wchar_t kSourceParameter[] = L"SourceParameter";

void Keep(HRESULT* first, HRESULT hr) {
    if (FAILED(hr) && SUCCEEDED(*first)) *first = hr;
}

struct InputState {
    std::wstring name;
    IID iid = IID_NULL;
    std::wstring component, parameter;
};

InputState StateOf(IInputParameter* input, size_t index) {
    InputState state;
    IPtr<IString> text;
    input->get_Name(text.Out());
    state.name = ToWide(text.Get());
    if (state.name.empty()) state.name = L"Input" + std::to_wstring(index + 1);
    input->get_Interface(&state.iid);
    input->get_SourceComponent(text.Out());
    state.component = ToWide(text.Get());
    input->get_SourceParameter(text.Out());
    state.parameter = ToWide(text.Get());
    return state;
}

std::wstring Text(IXMLStream* cursor, bool name) {
    IPtr<IString> text;
    if (name) {
        cursor->get_Name(text.Out());
    } else {
        cursor->get_Text(text.Out());
    }
    return ToWide(text.Get());
}

SavedInput ReadElement(IXMLStream* element) {
    SavedInput saved;
    saved.name = Text(element, true);
    IPtr<IXMLStream> child;
    if (FAILED(element->FirstChild(child.Out())) || !child) return saved;
    do {
        const std::wstring name = Text(child.Get(), true);
        if (AsciiEqualNoCase(name, kInterface)) {
            saved.hasInterface = IidFromText(Text(child.Get(), false), &saved.iid);
        } else if (AsciiEqualNoCase(name, kSourceComponent)) {
            saved.hasComponent = true;
            saved.component = Text(child.Get(), false);
        } else if (AsciiEqualNoCase(name, kSourceParameter)) {
            saved.hasParameter = true;
            saved.parameter = Text(child.Get(), false);
        }
    } while (SUCCEEDED(child->Next()));
    return saved;
}

bool ReadFolderText(IFolderStream* folder, const wchar_t* name, std::wstring* text) {
    IPtr<IVariant> value;
    if (FAILED(folder->ReadValue(REFLiteral(name), value.Out())) || !value) return false;
    *text = VariantText(value.Get());
    return true;
}

SavedInput ReadFolder(IFolderStream* folder, std::wstring name) {
    SavedInput saved;
    saved.name = std::move(name);
    std::wstring iid;
    if (ReadFolderText(folder, kInterface, &iid)) saved.hasInterface = IidFromText(iid, &saved.iid);
    saved.hasComponent = ReadFolderText(folder, kSourceComponent, &saved.component);
    saved.hasParameter = ReadFolderText(folder, kSourceParameter, &saved.parameter);
    return saved;
}

void ApplySources(IInputParameter* input, const SavedInput& saved) {
    if (saved.hasComponent) input->put_SourceComponent(MakeString(saved.component).Get());
    if (saved.hasParameter) input->put_SourceParameter(MakeString(saved.parameter).Get());
}

} // namespace

HRESULT InputParameters::Save(IDataStream* stream, int32_t) {
    if (!stream) return E_POINTER;
    if (IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream)) return SaveXML(xml.Get());
    if (IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream)) return SaveFolder(folder.Get());
    return E_NOTIMPL;
}

HRESULT InputParameters::Load(IDataStream* stream, int32_t options) {
    if (!stream) return E_POINTER;
    if (IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream)) return LoadXML(xml.Get(), options);
    if (IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream))
        return LoadFolder(folder.Get(), options);
    return E_NOTIMPL;
}

HRESULT InputParameters::SaveXML(IXMLStream* xml) {
    HRESULT result = S_OK;
    const std::vector<IPtr<IInputParameter>> inputs = Inputs();
    for (size_t i = 0; i < inputs.size(); ++i) {
        const InputState state = StateOf(inputs[i].Get(), i);
        HRESULT opened = xml->OpenElement(REFLiteral(state.name.c_str()));
        Keep(&result, opened);
        if (FAILED(opened)) continue;
        if (state.iid != IID_NULL)
            Keep(&result, xml->WriteElement(REFLiteral(kInterface), MakeString(IidText(state.iid)).Get()));
        Keep(&result, xml->WriteElement(REFLiteral(kSourceComponent), MakeString(state.component).Get()));
        Keep(&result, xml->WriteElement(REFLiteral(kSourceParameter), MakeString(state.parameter).Get()));
        Keep(&result, xml->CloseElement());
    }
    return result;
}

HRESULT InputParameters::SaveFolder(IFolderStream* folder) {
    HRESULT result = S_OK;
    const std::vector<IPtr<IInputParameter>> inputs = Inputs();
    for (size_t i = 0; i < inputs.size(); ++i) {
        const InputState state = StateOf(inputs[i].Get(), i);
        IPtr<IFolderStream> sub;
        HRESULT opened = folder->OpenFolder(REFLiteral(state.name.c_str()), 1, sub.Out());
        Keep(&result, opened);
        if (FAILED(opened) || !sub) continue;
        auto write = [&](const wchar_t* name, const std::wstring& text) {
            IPtr<IVariant> value = NewVariant();
            if (!value) return Keep(&result, E_FAIL);
            value->put_String(MakeString(text).Get());
            Keep(&result, sub->WriteValue(REFLiteral(name), value.Get()));
        };
        if (state.iid != IID_NULL) write(kInterface, IidText(state.iid));
        write(kSourceComponent, state.component);
        write(kSourceParameter, state.parameter);
    }
    return result;
}

HRESULT InputParameters::LoadXML(IXMLStream* xml, int32_t options) {
    std::vector<SavedInput> saved;
    IPtr<IXMLStream> element;
    if (SUCCEEDED(xml->FirstChild(element.Out())) && element) {
        do {
            saved.push_back(ReadElement(element.Get()));
        } while (SUCCEEDED(element->Next()));
    }
    ApplySaved(saved, options);
    return S_OK;
}

HRESULT InputParameters::LoadFolder(IFolderStream* folder, int32_t options) {
    IPtr<INamedCollection> entries;
    HRESULT hr = folder->get_Entries(entries.Out());
    if (FAILED(hr) || !entries) return FAILED(hr) ? hr : E_FAIL;
    std::vector<SavedInput> saved;
    int32_t count = 0;
    entries->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IUnknown> entry;
        IPtr<IString> name;
        if (FAILED(entries->get_Item(i, entry.Out())) || FAILED(entries->get_ItemName(i, name.Out()))) continue;
        if (IPtr<IFolderStream> sub = entry.Query<IFolderStream>())
            saved.push_back(ReadFolder(sub.Get(), ToWide(name.Get())));
    }
    ApplySaved(saved, options);
    return S_OK;
}

void InputParameters::ApplySaved(const std::vector<SavedInput>& saved, int32_t options) {
    const bool append = (options & PARAMS_REPLACE) != 0;
    if (append) Clear();
    for (const SavedInput& input : saved) {
        IPtr<IInputParameter> target;
        if (append) {
            if (input.hasComponent)
                target = AppendInput(MakeString(input.name).Get(), input.hasInterface ? &input.iid : nullptr);
        } else {
            target = InputAt(FindName(input.name));
        }
        if (target) ApplySources(target.Get(), input);
    }
}

} // namespace host
