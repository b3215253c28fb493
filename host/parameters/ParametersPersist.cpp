// Saving and loading of the host's parameter collection.
//
// XML: one element per item, in item order, named after the item ("Item<n>",
// n counted from 1, for an item without a name). An item with flags 0 and no
// descriptor is a leaf whose text is the value (<Port>21</Port>); any other
// item is an element holding a leaf "Value", a leaf "Flags" (written as
// #XXXXXX, only when not 0) and its descriptor: a string descriptor (a choice
// list such as "Off|On") as a leaf "Descriptor", a descriptor that supports
// IDataPersist as an object element in which it saves itself. Descriptors of
// other kinds are not saved.
//
// Folder stream: an item with flags 0, no descriptor and a value that is not
// an object is a named value; any other item is a sub-folder named after it
// holding "Value" (a string or number), or "Unknown" (an object value), then
// "Flags" (the 32-bit word as 4 raw bytes, only when not 0) and "Descriptor"
// (a string value for a string descriptor, else the persistable object).
//
// Loading matches the stream's entries to the items by name (ASCII
// case-blind) and sets the values and descriptors of the items found; the
// flags are set from XML only. Entries without an item are ignored. With the
// option PARAMS_REPLACE the collection is emptied first and every entry
// becomes a new item with its value, flags and descriptor; with PARAMS_APPEND
// (folder streams) entries are appended without emptying. An empty
// collection has nothing to match and always appends, so that a collection
// made anew from a saved object (a nested descriptor) gets its items back.
//
// Values are written as text (see ValueText.h) and read back as the type the
// text looks like. Failures of the stream are reported after the remaining
// items have been written (the first failure is returned).
#include <cwctype>

#include "host/parameters/ParametersCreatable.h"
#include "host/values/HostStrings.h"
#include "host/values/ValueText.h"

namespace host {

namespace {

bool EqualFolded(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::towlower(static_cast<wint_t>(a[i])) != std::towlower(static_cast<wint_t>(b[i]))) return false;
    return true;
}

void Keep(HRESULT* first, HRESULT hr) {
    if (FAILED(hr) && SUCCEEDED(*first)) *first = hr;
}

std::wstring ElementName(const std::wstring& name, size_t index) {
    return name.empty() ? L"Item" + std::to_wstring(index + 1) : name;
}

std::wstring NameOf(IXMLStream* cursor) {
    IPtr<IString> name;
    cursor->get_Name(name.Out());
    return ToWide(name.Get());
}

std::wstring TextOf(IXMLStream* cursor) {
    IPtr<IString> text;
    cursor->get_Text(text.Out());
    return ToWide(text.Get());
}

struct ReadItem {
    IPtr<IVariant> value;
    IPtr<IUnknown> descriptor;
    int32_t flags = 0;
    bool hasValue = false;
    bool hasFlags = false;
};

// Reads one item element: its leaf text, or its Value, Flags and object
// children.
ReadItem ReadXMLItem(IXMLStream* element) {
    ReadItem item;
    IPtr<IXMLStream> child;
    if (FAILED(element->FirstChild(child.Out())) || !child) {
        item.value = VariantFromText(TextOf(element));
        item.hasValue = true;
        return item;
    }
    do {
        const std::wstring name = NameOf(child.Get());
        if (EqualFolded(name, L"Value")) {
            item.value = VariantFromText(TextOf(child.Get()));
            item.hasValue = true;
        } else if (EqualFolded(name, L"Flags")) {
            item.flags = FlagsFromText(TextOf(child.Get()));
            item.hasFlags = true;
        } else if (EqualFolded(name, L"Descriptor")) {
            IPtr<IString> text = MakeString(TextOf(child.Get()));
            item.descriptor.Reset(text.Get());
        } else {
            // The object loads itself from within this load, so loading
            // recurses as deep as objects nest in the document, which the
            // stream bounds (host/StreamNesting.h).
            IPtr<IUnknown> object;
            if (SUCCEEDED(child->CreateObject(object.Out())) && object) item.descriptor = std::move(object);
        }
    } while (SUCCEEDED(child->Next()));
    return item;
}

ReadItem ReadFolderItem(IUnknown* entry) {
    ReadItem item;
    if (IPtr<IFolderStream> folder = QueryAs<IFolderStream>(entry)) {
        IPtr<IVariant> value;
        IPtr<IUnknown> object;
        if (SUCCEEDED(folder->ReadValue(REFLiteral(L"Value"), value.Out())) && value) {
            item.value = std::move(value);
            item.hasValue = true;
        } else if (SUCCEEDED(folder->ReadObject(REFLiteral(L"Unknown"), object.Out())) && object) {
            item.value = NewVariant();
            if (item.value) item.value->put_Unknown(object.Get());
            item.hasValue = static_cast<bool>(item.value);
        }
        int32_t flags = 0;
        unsigned int read = 0;
        if (SUCCEEDED(folder->ReadRaw(REFLiteral(L"Flags"), &flags, sizeof flags, &read)) && read == sizeof flags) {
            item.flags = flags;
            item.hasFlags = true;
        }
        IPtr<IVariant> choices;
        IPtr<IUnknown> descriptor;
        if (SUCCEEDED(folder->ReadValue(REFLiteral(L"Descriptor"), choices.Out())) && choices && choices->IsString()) {
            IPtr<IString> text;
            choices->get_String(text.Out());
            item.descriptor.Reset(text.Get());
        } else if (SUCCEEDED(folder->ReadObject(REFLiteral(L"Descriptor"), descriptor.Out())) && descriptor) {
            item.descriptor = std::move(descriptor);
        }
    } else if (IPtr<IVariant> value = QueryAs<IVariant>(entry)) {
        item.value = std::move(value);
        item.hasValue = true;
    }
    return item;
}

} // namespace

std::vector<ParametersCreatable::Snapshot> ParametersCreatable::TakeSnapshot() {
    int32_t count = 0;
    get_Count(&count);
    std::vector<Snapshot> items;
    for (int32_t i = 0; i < count; ++i) {
        Snapshot item;
        IPtr<IString> name;
        if (FAILED(Iterate(i, name.Out(), item.value.Out(), item.descriptor.Out(), &item.flags))) break;
        item.name = ElementName(ToWide(name.Get()), static_cast<size_t>(i));
        items.push_back(std::move(item));
    }
    return items;
}

HRESULT ParametersCreatable::Save(IDataStream* stream, int32_t options) {
    if (!stream) return E_POINTER;
    if (IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream)) return SaveXML(xml.Get(), stream, options);
    if (IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream))
        return SaveFolder(folder.Get(), options);
    return E_NOTIMPL;
}

HRESULT ParametersCreatable::Load(IDataStream* stream, int32_t options) {
    if (!stream) return E_POINTER;
    if (IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream)) return LoadXML(xml.Get(), options);
    if (IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream))
        return LoadFolder(folder.Get(), options);
    return E_NOTIMPL;
}

HRESULT ParametersCreatable::SaveXML(IXMLStream* xml, IDataStream* stream, int32_t options) {
    HRESULT result = S_OK;
    for (const Snapshot& item : TakeSnapshot()) {
        const tagREFString name = REFLiteral(item.name.c_str());
        IPtr<IString> text = MakeString(VariantText(item.value.Get()));
        IPtr<IDataPersist> persist = item.descriptor.Query<IDataPersist>();
        IPtr<IString> choices = persist ? IPtr<IString>() : item.descriptor.Query<IString>();
        if (!persist && !choices && item.flags == 0) {
            Keep(&result, xml->WriteElement(name, text.Get()));
            continue;
        }
        HRESULT opened = xml->OpenElement(name);
        Keep(&result, opened);
        if (FAILED(opened)) continue;
        Keep(&result, xml->WriteElement(REFLiteral(L"Value"), text.Get()));
        if (item.flags != 0)
            Keep(&result, xml->WriteElement(REFLiteral(L"Flags"), MakeString(FlagsText(item.flags)).Get()));
        if (choices) Keep(&result, xml->WriteElement(REFLiteral(L"Descriptor"), choices.Get()));
        if (persist) {
            HRESULT object = xml->OpenObjectElement(item.descriptor.Get());
            Keep(&result, object);
            if (SUCCEEDED(object)) {
                Keep(&result, persist->Save(stream, options));
                Keep(&result, xml->CloseElement());
            }
        }
        Keep(&result, xml->CloseElement());
    }
    return result;
}

HRESULT ParametersCreatable::LoadXML(IXMLStream* xml, int32_t options) {
    int32_t count = 0;
    get_Count(&count);
    const bool append = (options & PARAMS_REPLACE) != 0 || count == 0;
    if (append) RemoveAll();
    IPtr<IXMLStream> element;
    if (FAILED(xml->FirstChild(element.Out())) || !element) return S_OK;
    do {
        const std::wstring name = NameOf(element.Get());
        ReadItem item = ReadXMLItem(element.Get());
        if (append) {
            Add(MakeString(name).Get(), item.value.Get(), item.descriptor.Get(), item.flags);
            continue;
        }
        int32_t index = -1;
        if (name.empty() || FAILED(get_Index(MakeString(name).Get(), &index))) continue;
        if (item.hasValue) put_Item(index, item.value.Get());
        if (item.hasFlags) put_ItemFlags(index, item.flags);
        if (item.descriptor) put_ItemDescriptor(index, item.descriptor.Get());
    } while (SUCCEEDED(element->Next()));
    return S_OK;
}

HRESULT ParametersCreatable::SaveFolder(IFolderStream* folder, int32_t options) {
    HRESULT result = S_OK;
    for (const Snapshot& item : TakeSnapshot()) {
        const tagREFString name = REFLiteral(item.name.c_str());
        const bool object = item.value && item.value->IsObject();
        if (item.flags == 0 && !item.descriptor && !object) {
            Keep(&result, folder->WriteValue(name, item.value.Get()));
            continue;
        }
        IPtr<IFolderStream> sub;
        HRESULT opened = folder->OpenFolder(name, 1, sub.Out());
        Keep(&result, opened);
        if (FAILED(opened) || !sub) continue;
        if (object) {
            IPtr<IUnknown> held;
            item.value->get_Object(held.Out());
            Keep(&result, sub->WriteObject(REFLiteral(L"Unknown"), held.Get()));
        } else {
            Keep(&result, sub->WriteValue(REFLiteral(L"Value"), item.value.Get()));
        }
        if (item.flags != 0) Keep(&result, sub->WriteRaw(REFLiteral(L"Flags"), &item.flags, sizeof item.flags));
        if (IPtr<IString> choices = item.descriptor.Query<IString>()) {
            IPtr<IVariant> text = NewVariant();
            if (text) text->put_String(choices.Get());
            Keep(&result, sub->WriteValue(REFLiteral(L"Descriptor"), text.Get()));
        } else if (item.descriptor.Query<IDataPersist>()) {
            Keep(&result, sub->WriteObject(REFLiteral(L"Descriptor"), item.descriptor.Get()));
        }
    }
    return result;
}

HRESULT ParametersCreatable::LoadFolder(IFolderStream* folder, int32_t options) {
    IPtr<INamedCollection> entries;
    HRESULT hr = folder->get_Entries(entries.Out());
    if (FAILED(hr) || !entries) return FAILED(hr) ? hr : E_FAIL;
    int32_t count = 0, own = 0;
    entries->get_Count(&count);
    get_Count(&own);
    if ((options & (PARAMS_REPLACE | PARAMS_APPEND)) || own == 0) {
        if (options & PARAMS_REPLACE) RemoveAll();
        for (int32_t i = 0; i < count; ++i) {
            IPtr<IString> name;
            IPtr<IUnknown> entry;
            entries->get_ItemName(i, name.Out());
            if (FAILED(entries->get_Item(i, entry.Out()))) continue;
            ReadItem item = ReadFolderItem(entry.Get());
            Add(name.Get(), item.value.Get(), item.descriptor.Get(), item.flags);
        }
        return S_OK;
    }
    for (int32_t i = 0; i < own; ++i) {
        IPtr<IString> name;
        if (FAILED(get_ItemName(i, name.Out())) || ToWide(name.Get()).empty()) continue;
        int32_t at = -1;
        IPtr<IUnknown> entry;
        if (FAILED(entries->get_Index(name.Get(), &at)) || FAILED(entries->get_Item(at, entry.Out()))) continue;
        ReadItem item = ReadFolderItem(entry.Get());
        if (item.hasValue) put_Item(i, item.value.Get());
        if (item.descriptor) put_ItemDescriptor(i, item.descriptor.Get());
    }
    return S_OK;
}

} // namespace host
