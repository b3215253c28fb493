// Helpers shared by the tests of the host's parameter collection, inputs and
// workspace.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HostTestSupport.h"
#include "host/GlobalComponentCollection.h"
#include "host/HostStrings.h"

namespace paramstest {

using hosttest::Make;

inline IPtr<IParametersCreatable> NewParameters() {
    return Make<IParametersCreatable>(L"ParametersCreatable", IID_IParametersCreatable);
}

inline IPtr<IString> Str(const std::wstring& text) { return host::MakeString(text); }

inline IPtr<IVariant> Int(int32_t value) {
    IPtr<IVariant> v = host::NewVariant();
    v->put_Integer(value);
    return v;
}

inline IPtr<IVariant> Text(const std::wstring& value) {
    IPtr<IVariant> v = host::NewVariant();
    v->put_String(Str(value).Get());
    return v;
}

// The names of the items in order ("<null>" for an item without one).
inline std::vector<std::wstring> Names(INamedCollection* collection) {
    std::vector<std::wstring> names;
    int32_t count = 0;
    collection->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        names.push_back(SUCCEEDED(collection->get_ItemName(i, name.Out())) ? host::ToWide(name.Get()) : L"<null>");
    }
    return names;
}

// The integer a parameter holds, or -999 when it holds none.
inline int32_t IntAt(IParameters* parameters, int32_t index) {
    IPtr<IVariant> value;
    int32_t number = -999;
    if (SUCCEEDED(parameters->get_ItemVariant(index, value.Out())) && value->IsNumber()) value->get_Integer(&number);
    return number;
}

// The text of a string value, or "<none>".
inline std::wstring TextOf(IUnknown* value) {
    if (IPtr<IString> s = QueryAs<IString>(value, IID_IString)) return host::ToWide(s.Get());
    if (IPtr<IVariant> v = QueryAs<IVariant>(value, IID_IVariant); v && v->IsString()) {
        IPtr<IString> s;
        v->get_String(s.Out());
        return host::ToWide(s.Get());
    }
    return L"<none>";
}

} // namespace paramstest
