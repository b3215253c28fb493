#include "host/collections/KeyLookup.h"

#include "host/values/HostStrings.h"

namespace host {

namespace {
wchar_t FoldAscii(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c; }
} // namespace

bool AsciiEqualNoCase(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
    return true;
}

LookupKey ClassifyKey(IUnknown* key) {
    LookupKey result;
    if (!key) return result;
    IPtr<IString> text = QueryAs<IString>(key);
    if (text) {
        result.kind = LookupKey::Kind::Name;
        result.name = ToWide(text.Get());
        return result;
    }
    IPtr<IVariant> variant = QueryAs<IVariant>(key);
    if (!variant) {
        result.kind = LookupKey::Kind::Object;
        result.object.Reset(key);
        return result;
    }
    if (variant->IsNumber()) {
        int32_t index = -1;
        variant->get_Integer(&index);
        result.kind = LookupKey::Kind::Index;
        result.index = index;
    } else if (variant->IsString()) {
        IPtr<IString> name;
        variant->get_String(name.Out());
        result.kind = LookupKey::Kind::Name;
        result.name = ToWide(name.Get());
    } else if (variant->IsObject()) {
        result.kind = LookupKey::Kind::Object;
        variant->get_Object(result.object.Out());
    }
    return result;
}

bool SameObject(IUnknown* a, IUnknown* b) {
    if (!a || !b) return false;
    if (a == b) return true;
    IPtr<IUnknown> ia = QueryAs<IUnknown>(a);
    IPtr<IUnknown> ib = QueryAs<IUnknown>(b);
    return ia && ia.Get() == ib.Get();
}

} // namespace host
