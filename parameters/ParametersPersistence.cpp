// Saving and loading the parameter collection: XML element lists, XML lists
// of nested persistable objects, folder streams and one CSV line.
#include <string>

#include "core/Helpers.h"
#include "parameters/FileNameMapping.h"
#include "parameters/ParametersCore.h"

namespace {

// The item's name, or "Item<n>" (1-based) when it has none.
std::wstring ItemName(IString* name, int32_t index) {
    CREFString text(name);
    if (text.m_Length > 0) return std::wstring(text.m_pString, static_cast<size_t>(text.m_Length));
    wchar_t buffer[256];
    _swprintf(buffer, 256, L"Item%d", index + 1);
    return buffer;
}

bool IsSimpleType(int32_t flags) {
    const int32_t type = flags & PARAM_TYPE_MASK;
    return type == PARAM_TYPE_INTEGER || type == PARAM_TYPE_SIMPLE || type == PARAM_TYPE_TEXT;
}

bool NameIs(IString* name, const wchar_t* expected) {
    return params::NamesEqualFolded(CREFString(name), REFLiteral(expected));
}

// The colour integer holds red in its low byte; its text puts red first.
unsigned int ColourText(int32_t value) {
    const auto v = static_cast<uint32_t>(value);
    return (v & 0xFF00FF00u) | ((v & 0xFFu) << 16) | ((v >> 16) & 0xFFu);
}

void WriteLeaf(IXMLStream* xml, const tagREFString& name, IString* text) { xml->WriteElement(name, text); }

// Lets a persistable object save itself inside an object element. When the
// stream refuses the element (the stream's nesting limit is reached, as it is
// at last by objects that hold each other) the object is not asked to save
// itself: it would write into the enclosing element and go one level deeper
// again, without end.
void WriteObjectElement(IXMLStream* xml, IDataStream* stream, IDataPersist* object, int32_t options) {
    if (FAILED(xml->OpenObjectElement(object))) return;
    object->Save(stream, options);
    xml->CloseElement();
}

// Loads an existing object from the object element under `element`.
void LoadObjectElement(IXMLStream* element, IUnknown* object, int32_t options) {
    IPtr<IDataPersist> persist = QueryAs<IDataPersist>(object);
    IPtr<IDataStream> stream = QueryAs<IDataStream>(element);
    if (persist && stream) persist->Load(stream.Get(), options);
}

// Visits the child elements of `parent` in document order.
template <class F>
void ForEachChild(IXMLStream* parent, F&& visit) {
    IPtr<IXMLStream> child;
    if (FAILED(parent->FirstChild(child.Out())) || !child) return;
    do {
        visit(child.Get());
    } while (SUCCEEDED(child->Next()));
}

IPtr<IString> ElementName(IXMLStream* element) {
    IPtr<IString> name;
    element->get_Name(name.Out());
    return name;
}

IPtr<IVariant> ElementValue(IXMLStream* element) {
    IPtr<IString> text;
    element->get_Text(text.Out());
    CREFString view(text.Get());
    return IPtr<IVariant>::Adopt(IVCreateConvert(view));
}

int32_t ElementInteger(IXMLStream* element) {
    IPtr<IString> text;
    element->get_Text(text.Out());
    return _IS2Integer(CREFString(text.Get()), 10);
}

// A saved file name back in full form: unmapped, or made absolute against
// the installation folder when it was stored relative to it.
void RestoreFileName(IVariant* value, int32_t flags) {
    if (!value || !value->IsString()) return;
    IPtr<IString> text;
    value->get_String(text.Out());
    IPtr<IString> restored;
    if (FAILED(FILENAMEUnmap(text.Get(), restored.Out())) && (flags & PARAM_INSTALL_RELATIVE))
        FILENAMECreateAbsolute(text.Get(), restored.Out(), 0);
    if (restored) value->put_String(restored.Get());
}

// Turns the backslashes of a path into slashes. A copy is changed, never
// the text the stream handed out.
void NormaliseSeparators(IVariant* value) {
    if (!value || !value->IsString()) return;
    IPtr<IString> text;
    value->get_String(text.Out());
    IPtr<IString> copy = IPtr<IString>::Adopt(ISCreate(CREFString(text.Get())));
    if (!copy) return;
    CheckSeparator(CREFString(copy.Get()));
    value->put_String(copy.Get());
}

// Reads "Flags", then "Value" (or the object "Unknown") of a saved item's
// sub-folder. The value is null when neither is there.
IPtr<IVariant> ReadFolderValue(IFolderStream* folder, int32_t* flags) {
    *flags = 0;
    unsigned int read = 0;
    int32_t saved = 0;
    if (SUCCEEDED(folder->ReadRaw(REFLiteral(L"Flags"), &saved, sizeof saved, &read)) && read == sizeof saved)
        *flags = saved;
    IPtr<IVariant> value;
    if (FAILED(folder->ReadValue(REFLiteral(L"Value"), value.Out())) || !value) {
        IPtr<IUnknown> object;
        if (SUCCEEDED(folder->ReadObject(REFLiteral(L"Unknown"), object.Out())) && object)
            value = params::NewVariantFrom(object.Get());
        else
            value.Release();
    }
    return value;
}

} // namespace

HRESULT CParametersCore::Params_SaveCSV(IDataStream* stream, int32_t options) {
    IPtr<ICSVStream> csv = QueryAs<ICSVStream>(stream);
    if (!csv) return S_OK;
    ScopedLock lock(*this);
    bool first = true;
    auto write = [&](const tagREFString& text) {
        if (text.m_Length > 0) csv->WriteChars(text.m_pString, static_cast<unsigned int>(text.m_Length) * 2);
    };
    for (int32_t i = 0; i < m_Count; ++i) {
        if ((options & PARAMS_COMPACT) && (m_pItems[i]->m_Flags & PARAM_COMPACT_OMIT)) continue;
        if (!first) write(REFLiteral(L","));
        first = false;
        if (options & PARAMS_CSV_NAMES) {
            write(CREFString(m_pItems[i]->m_pName.Get()));
            write(REFLiteral(L"="));
        }
        IPtr<IVariant> value;
        get_ItemVariantNOLOCK(i, value.Out());
        IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(value.Get()));
        write(CREFString(text.Get()));
    }
    return S_OK;
}

HRESULT CParametersCore::Params_SaveXML(IDataStream* stream, int32_t options) {
    IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream);
    if (!xml) return S_OK;
    ScopedLock lock(*this);
    for (int32_t i = 0; i < m_Count; ++i) SaveXMLItem(xml.Get(), stream, i, options);
    return S_OK;
}

void CParametersCore::SaveXMLItem(IXMLStream* xml, IDataStream* stream, int32_t index, int32_t options) {
    PARAMETEROBJECT* item = m_pItems[index].get();
    // Elements need a name: an unnamed item is written as "Item<n>".
    const std::wstring name = ItemName(item->m_pName.Get(), index);
    IPtr<IVariant> value;
    get_ItemVariantNOLOCK(index, value.Out());
    IPtr<IDataPersist> persist = item->m_pDescriptor.Query<IDataPersist>();
    int32_t flags = item->m_Flags & ~PARAM_NO_XML_BIT;

    if (options & PARAMS_COMPACT) {
        bool simplify = false;
        if (flags & PARAM_CHOICE) {
            flags &= ~PARAM_CHOICE;
            persist.Release();
        }
        if (flags & PARAM_COMPACT_OMIT) {
            persist.Release();
            simplify = IsSimpleType(flags);
        } else if (flags == PARAM_COLOUR && !persist && value && value->IsNumber()) {
            int32_t colour = 0;
            value->get_Integer(&colour);
            IPtr<IString> text = IPtr<IString>::Adopt(ISCreateHex(ColourText(colour)));
            WriteLeaf(xml, REFOf(name), text.Get());
            return;
        } else {
            simplify = IsSimpleType(flags) || flags == PARAM_TYPE_SERVER_PATH;
        }
        if (simplify) flags = 0;
    }

    IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(value.Get()));
    if (!persist && flags == 0) {
        WriteLeaf(xml, REFOf(name), text.Get());
        return;
    }
    // An element that is not opened is not closed: that would close the
    // element that encloses it.
    if (FAILED(xml->OpenElement(REFOf(name)))) return;
    WriteLeaf(xml, REFLiteral(L"Value"), text.Get());
    if (flags != 0) {
        IPtr<IString> flagsText = IPtr<IString>::Adopt(ISCreateHex(static_cast<unsigned int>(flags)));
        WriteLeaf(xml, REFLiteral(L"Flags"), flagsText.Get());
    }
    if (persist) WriteObjectElement(xml, stream, persist.Get(), options);
    xml->CloseElement();
}

HRESULT CParametersCore::Params_LoadXML(IDataStream* stream, int32_t options, int32_t) {
    IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream);
    if (!xml) return S_OK;
    ScopedLock lock(*this);
    if (options & PARAMS_REPLACE) {
        RemoveAllNOLOCK();
        ForEachChild(xml.Get(), [&](IXMLStream* element) {
            IPtr<IString> name = ElementName(element);
            IPtr<IVariant> value = ElementValue(element);
            AddNOLOCK(name.Get(), value.Get(), nullptr, 0);
        });
        return S_OK;
    }
    ForEachChild(xml.Get(), [&](IXMLStream* element) {
        // Only existing items are loaded; unknown elements are skipped.
        const int32_t index = FindSavedName(ElementName(element).Get());
        if (index >= 0) LoadXMLItem(index, element);
    });
    return S_OK;
}

int32_t CParametersCore::FindSavedName(IString* name) {
    CREFString text(name);
    if (text.m_Length < 1) return -1;
    int32_t index = -1;
    if (SUCCEEDED(get_IndexNOLOCK(name, &index))) return IsValidIndex(index) ? index : -1;
    static const tagREFString kPrefix = REFLiteral(L"Item");
    if (text.m_Length <= kPrefix.m_Length ||
        !params::NamesEqualAscii(tagREFString{kPrefix.m_Length, text.m_pString}, kPrefix))
        return -1;
    CREFString digits(text.m_pString + kPrefix.m_Length, text.m_Length - kPrefix.m_Length);
    for (int32_t i = 0; i < digits.m_Length; ++i)
        if (digits.m_pString[i] < L'0' || digits.m_pString[i] > L'9') return -1;
    const int32_t position = _IS2Integer(digits, 10) - 1;
    if (!IsValidIndex(position) || CREFString(m_pItems[position]->m_pName.Get()).m_Length > 0) return -1;
    return position;
}

void CParametersCore::LoadXMLItem(int32_t index, IXMLStream* element) {
    bool hasChildren = false;
    ForEachChild(element, [&](IXMLStream* child) {
        hasChildren = true;
        IPtr<IString> name = ElementName(child);
        if (NameIs(name.Get(), L"Value")) {
            IPtr<IVariant> value = ElementValue(child);
            if (value) put_ItemNOLOCK(index, value.Get());
        } else if (NameIs(name.Get(), L"Flags")) {
            m_pItems[index]->m_Flags = ElementInteger(child);
        } else {
            // The descriptor loads itself from within this load; the stream
            // bounds how deep objects nest, and so this recursion.
            IPtr<IUnknown> descriptor;
            if (SUCCEEDED(child->CreateObject(descriptor.Out())) && descriptor)
                put_ItemDescriptorNOLOCK(index, descriptor.Get());
        }
    });
    if (!hasChildren) {
        IPtr<IVariant> value = ElementValue(element);
        if (value) put_ItemNOLOCK(index, value.Get());
    }
}

HRESULT CParametersCore::Params_SaveXMLUnk(IDataStream* stream, int32_t options) {
    IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream);
    if (!xml) return S_OK;
    ScopedLock lock(*this);
    for (int32_t i = 0; i < m_Count; ++i) {
        PARAMETEROBJECT* item = m_pItems[i].get();
        IPtr<IUnknown> value;
        get_ItemNOLOCK(i, value.Out());
        IPtr<IDataPersist> persist = value.Query<IDataPersist>();
        if (!persist) continue;
        const std::wstring name = ItemName(item->m_pName.Get(), i);
        if (FAILED(xml->OpenElement(REFOf(name)))) continue;
        if (item->m_Flags != 0) {
            IPtr<IString> flagsText = IPtr<IString>::Adopt(ISCreateHex(static_cast<unsigned int>(item->m_Flags)));
            WriteLeaf(xml.Get(), REFLiteral(L"Flags"), flagsText.Get());
        }
        WriteObjectElement(xml.Get(), stream, persist.Get(), options);
        IPtr<IDataPersist> descriptor = item->m_pDescriptor.Query<IDataPersist>();
        if (descriptor && SUCCEEDED(xml->OpenElement(REFLiteral(L"ItemDescriptor")))) {
            WriteObjectElement(xml.Get(), stream, descriptor.Get(), options);
            xml->CloseElement();
        }
        xml->CloseElement();
    }
    return S_OK;
}

HRESULT CParametersCore::Params_LoadXMLUnk(IDataStream* stream, int32_t options) {
    IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream);
    if (!xml) return S_OK;
    ScopedLock lock(*this);
    if (options & PARAMS_REPLACE) RemoveAllNOLOCK();
    ForEachChild(xml.Get(), [&](IXMLStream* element) {
        IPtr<IString> name = ElementName(element);
        CREFString wanted(name.Get());
        int32_t index = -1;
        for (int32_t i = 0; i < m_Count && index < 0; ++i) {
            const std::wstring itemName = ItemName(m_pItems[i]->m_pName.Get(), i);
            if (params::NamesEqualFolded(REFOf(itemName), wanted)) index = i;
        }
        if (index < 0) return;
        PARAMETEROBJECT* item = m_pItems[index].get();
        ForEachChild(element, [&](IXMLStream* child) {
            IPtr<IString> childName = ElementName(child);
            if (NameIs(childName.Get(), L"Flags")) {
                item->m_Flags = ElementInteger(child);
            } else if (NameIs(childName.Get(), L"ItemDescriptor")) {
                if (!item->m_pDescriptor) return;
                ForEachChild(child, [&](IXMLStream* object) {
                    LoadObjectElement(object, item->m_pDescriptor.Get(), options);
                });
            } else {
                IPtr<IUnknown> value;
                if (SUCCEEDED(get_ItemNOLOCK(index, value.Out()))) LoadObjectElement(child, value.Get(), options);
            }
        });
    });
    return S_OK;
}

HRESULT CParametersCore::Params_SaveFolderStream(IDataStream* stream, int32_t options) {
    IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream);
    if (!folder) return S_OK;
    ScopedLock lock(*this);
    IPtr<IString> installPath; // read once, when the first file name needs it
    for (int32_t i = 0; i < m_Count; ++i) SaveFolderItem(folder.Get(), i, options, installPath);
    return S_OK;
}

void CParametersCore::SaveFolderItem(IFolderStream* folder, int32_t index, int32_t options,
                                     IPtr<IString>& installPath) {
    PARAMETEROBJECT* item = m_pItems[index].get();
    const std::wstring name = ItemName(item->m_pName.Get(), index);
    IPtr<IVariant> value;
    get_ItemVariantNOLOCK(index, value.Out());
    IPtr<IUnknown> descriptor(item->m_pDescriptor.Get());
    int32_t flags = item->m_Flags;

    if (!(options & PARAMS_COMPACT)) {
        if (flags & PARAM_NO_FOLDER) return;
    } else {
        if ((flags & 0xF0) == PARAM_CHOICE && !descriptor.Query<IDataPersist>()) {
            descriptor.Release();
            flags = 0;
        }
        const int32_t type = flags & PARAM_TYPE_MASK;
        if (type == PARAM_TYPE_INTEGER || type == PARAM_TYPE_SIMPLE || flags == PARAM_TYPE_SERVER_PATH) flags = 0;
        if (descriptor ? (flags & PARAM_NO_FOLDER) != 0 : (flags & (PARAM_COMPACT_OMIT | PARAM_NO_FOLDER)) != 0)
            return;
    }

    const bool holdsObject = value && value->IsObject();
    if (flags == 0 && !descriptor && !holdsObject) {
        if (value) folder->WriteValue(REFOf(name), value.Get());
        return;
    }

    IPtr<IFolderStream> sub;
    if (FAILED(folder->OpenFolder(REFOf(name), 1, sub.Out())) || !sub) return;

    // A text of type 6 is a file name, stored mapped; the item keeps its
    // own text.
    if ((flags & PARAM_TYPE_MASK) == PARAM_TYPE_TEXT && value && value->IsString()) {
        IPtr<IString> text;
        value->get_String(text.Out());
        IPtr<IString> stored;
        if ((flags & PARAM_PATH) && !(flags & PARAM_INSTALL_RELATIVE)) {
            if (!installPath) FILENAMEGetInstallPath(installPath.Out());
            CREFString install(installPath.Get());
            if (install.m_Length > 0 && SUCCEEDED(CREFString(text.Get()).CompareI(install, 1)))
                flags |= PARAM_INSTALL_RELATIVE;
        }
        if (flags & PARAM_INSTALL_RELATIVE) {
            if (!installPath) FILENAMEGetInstallPath(installPath.Out());
            if (FILENAMECreateRelative(installPath.Get(), text.Get(), stored.Out()) != S_OK)
                FILENAMEMap(text.Get(), stored.Out(), 0);
        } else if (!(flags & PARAM_PATH)) {
            FILENAMEMap(text.Get(), stored.Out(), 0);
        }
        if (stored) {
            IPtr<IVariant> mapped = params::NewVariantFrom(stored.Get());
            if (mapped) value = std::move(mapped);
        }
    }

    if (value && (value->IsString() || value->IsNumber())) {
        sub->WriteValue(REFLiteral(L"Value"), value.Get());
    } else if (holdsObject) {
        IPtr<IUnknown> object;
        value->get_Object(object.Out());
        if (object && !IsSelf(object.Get())) sub->WriteObject(REFLiteral(L"Unknown"), object.Get());
    }
    if (flags != 0) sub->WriteRaw(REFLiteral(L"Flags"), &flags, sizeof flags);
    if (descriptor && !IsSelf(descriptor.Get())) sub->WriteObject(REFLiteral(L"Descriptor"), descriptor.Get());
}

HRESULT CParametersCore::Params_LoadFolderStream(IDataStream* stream, int32_t options) {
    IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream);
    if (!folder) return S_OK;
    ScopedLock lock(*this);
    if (options & PARAMS_REPLACE) RemoveAllNOLOCK();
    if (options & (PARAMS_REPLACE | PARAMS_APPEND))
        LoadFolderAppend(folder.Get());
    else
        LoadFolderMatching(folder.Get());
    return S_OK;
}

void CParametersCore::LoadFolderAppend(IFolderStream* folder) {
    IPtr<INamedCollection> entries;
    if (FAILED(folder->get_Entries(entries.Out())) || !entries) return;
    int32_t count = 0;
    entries->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        IPtr<IUnknown> entry;
        entries->get_ItemName(i, name.Out());
        if (FAILED(entries->get_Item(i, entry.Out())) || !entry) continue;
        if (IPtr<IFolderStream> sub = entry.Query<IFolderStream>()) {
            int32_t flags = 0;
            IPtr<IVariant> value = ReadFolderValue(sub.Get(), &flags);
            if (flags & 6) RestoreFileName(value.Get(), flags);
            if (flags & PARAM_PATH) NormaliseSeparators(value.Get());
            IPtr<IUnknown> descriptor;
            if (FAILED(sub->ReadObject(REFLiteral(L"Descriptor"), descriptor.Out()))) descriptor.Release();
            AddNOLOCK(name.Get(), value.Get(), descriptor.Get(), flags);
        } else if (IPtr<IVariant> value = entry.Query<IVariant>()) {
            IPtr<IVariant> copy = params::NewVariantFrom(value.Get());
            AddNOLOCK(name.Get(), copy.Get(), nullptr, 0);
        }
    }
}

void CParametersCore::LoadFolderMatching(IFolderStream* folder) {
    IPtr<INamedCollection> entries;
    if (FAILED(folder->get_Entries(entries.Out())) || !entries) return;
    for (int32_t i = 0; i < m_Count; ++i) {
        // Unnamed items are saved as "Item<n>".
        const std::wstring name = ItemName(m_pItems[i]->m_pName.Get(), i);
        IPtr<IString> key = IPtr<IString>::Adopt(ISCreate(REFOf(name)));
        int32_t found = -1;
        IPtr<IUnknown> entry;
        if (!key || FAILED(entries->get_Index(key.Get(), &found)) || FAILED(entries->get_Item(found, entry.Out())) ||
            !entry)
            continue;
        if (IPtr<IFolderStream> sub = entry.Query<IFolderStream>()) {
            // The saved flags steer only the file-name handling.
            int32_t savedFlags = 0;
            IPtr<IVariant> value = ReadFolderValue(sub.Get(), &savedFlags);
            if ((savedFlags & PARAM_TYPE_MASK) == PARAM_TYPE_TEXT) RestoreFileName(value.Get(), savedFlags);
            if (value) put_ItemNOLOCK(i, value.Get());
            IPtr<IUnknown> descriptor;
            if (SUCCEEDED(sub->ReadObject(REFLiteral(L"Descriptor"), descriptor.Out())) && descriptor)
                put_ItemDescriptorNOLOCK(i, descriptor.Get());
        } else if (IPtr<IVariant> value = entry.Query<IVariant>()) {
            IPtr<IVariant> copy = params::NewVariantFrom(value.Get());
            if (copy) put_ItemNOLOCK(i, copy.Get());
        }
    }
}
