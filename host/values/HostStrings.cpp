#include "host/values/HostStrings.h"

#include "host/base/ComponentRegistry.h"
#include "host/values/CreatableString.h"
#include "host/values/Variant.h"

namespace host {


IPtr<IString> MakeString(std::wstring_view text) {
    IPtr<ICreatableString> s = NewString();
    s->SetString(text.data(), static_cast<int32_t>(text.size()));
    return IPtr<IString>(s.Get());
}

IPtr<IString> MakeFixedString(std::wstring_view text) {
    IPtr<IString> s;
    CreateHostComponent<FixedString>(s, std::wstring(text));
    return s;
}

IPtr<ICreatableString> NewString() {
    IPtr<ICreatableString> s;
    CreateCreatableString(&IPtr<ICreatableString>::Id(), s.OutVoid());
    return s;
}

std::wstring ToWide(IString* text) {
    if (!text) return {};
    tagREFString view{0, nullptr};
    if (FAILED(text->GetString(&view)) || view.m_Length <= 0 || !view.m_pString) return {};
    return std::wstring(view.m_pString, static_cast<size_t>(view.m_Length));
}

IPtr<IVariant> NewVariant() {
    IPtr<IVariant> v;
    CreateVariant(&IPtr<IVariant>::Id(), v.OutVoid());
    return v;
}

} // namespace host
