#include "host/transfer/SchemeSettings.h"

#include "host/values/HostStrings.h"

namespace host {

IPtr<IVariant> NamedSetting(IParameters* parameters, const wchar_t* name) {
    int32_t index = -1;
    IPtr<IVariant> value;
    if (FAILED(parameters->get_Index(MakeString(name).Get(), &index)) || index < 0 ||
        FAILED(parameters->get_ItemVariant(index, value.Out())))
        return {};
    return value;
}

std::optional<std::wstring> TextSetting(IParameters* parameters, const wchar_t* name) {
    IPtr<IVariant> value = NamedSetting(parameters, name);
    if (!value || !value->IsString()) return std::nullopt;
    IPtr<IString> text;
    value->get_String(text.Out());
    return ToWide(text.Get());
}

} // namespace host
