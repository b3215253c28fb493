// Test-only components built on the parameter templates, and small makers
// and readers of host strings and variants. Host services come through the
// module's stand-alone bootstrap (./_binARM64/CollectionsEx.so).
#pragma once

#include <gtest/gtest.h>

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "core/Helpers.h"
#include "module/Module.h"
#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "support/TempFolder.h"

namespace paramtest {

// A component with a creatable collection that starts empty.
class CBareParams final : public CObject<CBareParams>,
                          public IObjectInfoImpl<CBareParams>,
                          public InputParametersImpl<CBareParams, IParametersCreatable> {
public:
    static constexpr wchar_t kObjectName[] = L"ParamsBare";
    SHADOW_INTERFACE_TABLE(CBareParams, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IBindableObject),
                           SHADOW_INTERFACE(IDataPersist), SHADOW_INPUT_PARAMETERS,
                           SHADOW_INTERFACE_VIA(IParameters, IParametersCreatable),
                           SHADOW_INTERFACE(IParametersCreatable), SHADOW_INTERFACE(IReplicableObject))
};

// A component with a plain collection that declares, like the module's
// components, a text, a port, a choice and an input.
class CDeclaredParams final : public CObject<CDeclaredParams>,
                              public IObjectInfoImpl<CDeclaredParams>,
                              public InputParametersImpl<CDeclaredParams, IParameters> {
public:
    static constexpr wchar_t kObjectName[] = L"ParamsDeclared";
    SHADOW_INTERFACE_TABLE(CDeclaredParams, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IBindableObject),
                           SHADOW_INTERFACE(IDataPersist), SHADOW_INPUT_PARAMETERS, SHADOW_INTERFACE(IParameters),
                           SHADOW_INTERFACE(IReplicableObject))

    HRESULT FinalConstruct() override {
        AddTextParameter(L"SourceRoot", L"/src", PARAM_TYPE_TEXT);
        AddIntegerParameter(L"SrcPort", 21, PARAM_TYPE_INTEGER);
        AddIntegerParameter(L"RunAction", 0, PARAM_CHOICE_INTEGER, L"Update|Install|Commit");
        DeclareInput(L"UILineDisplayable", IID_IUILineDisplayable);
        return S_OK;
    }
};

template <class C, class I>
IPtr<I> Make(IID& iid) {
    IPtr<I> result;
    EXPECT_EQ(C::_CreateInstance(nullptr, &iid, result.OutVoid()), S_OK);
    return result;
}

inline IPtr<IString> Str(const wchar_t* text) { return IPtr<IString>::Adopt(ISCreate(text)); }
inline IPtr<IVariant> Int(int value) { return IPtr<IVariant>::Adopt(IVCreate(value)); }
inline IPtr<IVariant> Text(const wchar_t* text) { return IPtr<IVariant>::Adopt(IVCreate(Str(text).Get())); }

// One item to Add: a null name adds an unnamed item.
struct Item {
    const wchar_t* name;
    IUnknown* value;
    IUnknown* descriptor = nullptr;
    int32_t flags = 0;
};

// Adds `items` in order to any creatable collection.
inline IPtr<IParametersCreatable> Fill(IPtr<IParametersCreatable> params, std::initializer_list<Item> items) {
    for (const Item& item : items) {
        IPtr<IString> name = item.name ? Str(item.name) : IPtr<IString>();
        EXPECT_EQ(params->Add(name.Get(), item.value, item.descriptor, item.flags), S_OK);
    }
    return params;
}

// A bare component holding `items`, added in order.
inline IPtr<IParametersCreatable> MakeBare(std::initializer_list<Item> items = {}) {
    return Fill(Make<CBareParams, IParametersCreatable>(IID_IParametersCreatable), items);
}

inline std::wstring W(IString* text) {
    CREFString view(text);
    return view.m_Length > 0 ? std::wstring(view.m_pString, static_cast<size_t>(view.m_Length)) : std::wstring();
}
inline std::wstring W(const IPtr<IString>& text) { return W(text.Get()); }

// The text of a variant: its string, or its integer in decimal; "<object>"
// or "<empty>" otherwise.
inline std::wstring VariantText(IVariant* value) {
    if (!value) return L"<null>";
    if (value->IsString()) {
        IPtr<IString> text;
        value->get_String(text.Out());
        return W(text);
    }
    if (value->IsNumber()) {
        int32_t number = 0;
        value->get_Integer(&number);
        return std::to_wstring(number);
    }
    return value->IsObject() ? L"<object>" : L"<empty>";
}

inline std::wstring ValueAt(IParameters* params, int32_t index) {
    IPtr<IVariant> value;
    if (FAILED(params->get_ItemVariant(index, value.Out()))) return L"<fail>";
    return VariantText(value.Get());
}

inline std::wstring NameAt(IParameters* params, int32_t index) {
    IPtr<IString> name;
    if (FAILED(params->get_ItemName(index, name.Out()))) return L"<fail>";
    return W(name);
}

inline int32_t FlagsAt(IParameters* params, int32_t index) {
    int32_t flags = -1;
    params->get_ItemFlags(index, &flags);
    return flags;
}

inline std::vector<std::wstring> Names(IParameters* params) {
    int32_t count = 0;
    params->get_Count(&count);
    std::vector<std::wstring> names;
    for (int32_t i = 0; i < count; ++i) names.push_back(NameAt(params, i));
    return names;
}

// "name=value" of every item, in order.
inline std::vector<std::wstring> Items(IParameters* params) {
    int32_t count = 0;
    params->get_Count(&count);
    std::vector<std::wstring> items;
    for (int32_t i = 0; i < count; ++i) items.push_back(NameAt(params, i) + L"=" + ValueAt(params, i));
    return items;
}

inline int32_t IndexOf(IParameters* params, IUnknown* key) {
    int32_t index = -100;
    params->get_Index(key, &index);
    return index;
}

// The core behind a component's collection, for the tests that look at its
// storage.
inline CParametersCore& Core(IParametersCreatable* params) {
    return *static_cast<CBareParams*>(params);
}
inline CDeclaredParams& Declared(IParameters* params) { return *static_cast<CDeclaredParams*>(params); }

// A new host stream component ("XMLStream", "FolderStream", "CSVStream").
inline IPtr<IDataStream> NewStream(const wchar_t* component) {
    return CreateHostObject<IDataStream>(component);
}

// The serialised bytes of a stream.
inline std::string Bytes(IDataStream* stream) {
    void* data = nullptr;
    unsigned long size = 0;
    if (!stream || FAILED(stream->GetStream(&data, &size)) || !data) return {};
    return std::string(static_cast<const char*>(data), size);
}

// The serialised bytes without the white space between tags.
inline std::string Squeezed(IDataStream* stream) {
    const std::string bytes = Bytes(stream);
    std::string text;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '>') {
            size_t next = bytes.find_first_not_of(" \t\r\n", i + 1);
            text.push_back('>');
            if (next == std::string::npos) break;
            if (bytes[next] == '<') i = next - 1;
            continue;
        }
        text.push_back(bytes[i]);
    }
    return text;
}

// A stream of the component holding the given serialised document.
inline IPtr<IDataStream> StreamOf(const wchar_t* component, const std::string& text) {
    IPtr<IDataStream> stream = NewStream(component);
    unsigned int written = 0;
    if (stream) stream->Write(text.data(), static_cast<unsigned int>(text.size()), &written);
    return stream;
}

// The settings registry of the test program: a file in a temporary folder
// named by SHADOW_REGISTRY, rewritten by each test that reads settings.
class TestRegistry final {
public:
    static void Write(const std::string& text) {
        static TestRegistry registry;
        std::ofstream(registry.m_file, std::ios::trunc) << text;
    }

private:
    TestRegistry() : m_file(m_folder.File("registry.ini")) { setenv("SHADOW_REGISTRY", m_file.c_str(), 1); }
    testsupport::TempFolder m_folder{"shadow-params"};
    std::string m_file;
};

} // namespace paramtest
