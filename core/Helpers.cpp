// Host string and variant makers and the formatting of variant values.
#include "core/Helpers.h"

#include <charconv>
#include <cstdarg>
#include <cwctype>

namespace {

IString* MakeString(const wchar_t* text, int32_t length) {
    IPtr<ICreatableString> s = IPtr<ICreatableString>::Adopt(CREFString::CreateString());
    if (!s) return nullptr;
    if (text && length > 0) s->SetString(text, length);
    return s.Detach();
}

// Shortest text that reads back as the same double: 0.25, 1500, 1e-07.
IString* MakeShortestDouble(double value) {
    char narrow[64];
    auto [end, ec] = std::to_chars(narrow, narrow + sizeof narrow, value);
    if (ec != std::errc()) return MakeString(nullptr, 0);
    wchar_t wide[64];
    int32_t n = 0;
    for (const char* c = narrow; c != end; ++c) wide[n++] = static_cast<wchar_t>(*c);
    return MakeString(wide, n);
}

IString* MakeFixed(double value, short decimals) {
    wchar_t format[32];
    wchar_t text[256];
    _swprintf(format, 32, L"%%.%df", static_cast<int>(decimals));
    int n = _swprintf(text, 256, format, value);
    // Values too large for the buffer in fixed notation keep all their digits
    // in the shortest form rather than being cut.
    if (n < 0) return MakeShortestDouble(value);
    return MakeString(text, n);
}

} // namespace

IString* ISCreate(const wchar_t* text) {
    return MakeString(text, text ? static_cast<int32_t>(std::wcslen(text)) : 0);
}

IString* ISCreate(const tagREFString& text) { return MakeString(text.m_pString, text.m_Length); }

std::wstring_view ISView(IString* text) { return REFView(CREFString(text)); }

IPtr<IString> ISMake(std::wstring_view text) { return IPtr<IString>::Adopt(ISCreate(REFOf(text))); }

IString* ISCreate(const char* utf8, int bytes) {
    IPtr<ICreatableString> s = IPtr<ICreatableString>::Adopt(CREFString::CreateString());
    if (!s) return nullptr;
    const unsigned char* in = reinterpret_cast<const unsigned char*>(utf8);
    int n = utf8 ? bytes : 0;
    for (int i = 0; i < n; ++i) {
        unsigned b = in[i];
        uint32_t code;
        if (b < 128) {
            code = b;
        } else if ((b & 0xC0) == 0xC0 && i + 1 < n) {
            // Each leading one bit below bit 7 takes one more byte while input
            // remains; the lead byte keeps the bits its mask leaves. The
            // following bytes are taken as they come, unchecked.
            unsigned added = 0;
            uint32_t tail = 0;
            for (unsigned bit = 0x40; (b & bit) && i + 1 < n; bit >>= 1) {
                tail = (tail << 6) | (in[++i] & 0x3Fu);
                ++added;
            }
            unsigned mask = 0x3Fu >> added; // empty from six added bytes on
            code = (mask ? (b & mask) << (6 * added) : 0) | tail;
        } else {
            // A stray continuation byte or a lead byte with nothing after it.
            code = b & 0x3F;
        }
        wchar_t c = static_cast<wchar_t>(code);
        s->Append(&c, 1);
    }
    return s.Detach();
}

IString* ISCreateHex(unsigned int value) {
    wchar_t text[256];
    int n = _swprintf(text, 256, value <= 0xFFFFFFu ? L"#%06X" : L"#%X", value);
    return MakeString(text, n > 0 ? n : 0);
}

IString* ISCreate(IVariant* value) {
    if (!value) return nullptr;
    if (value->IsString()) {
        IPtr<IString> s;
        if (SUCCEEDED(value->get_String(s.Out())) && s) return s.Detach();
        return MakeString(nullptr, 0);
    }
    if (value->IsObject()) {
        IPtr<IUnknown> object;
        value->get_Object(object.Out());
        IPtr<IObjectInfo> info = QueryAs<IObjectInfo>(object.Get());
        tagREFString name{0, nullptr};
        if (info && SUCCEEDED(info->GetName(0, &name))) return ISCreate(name);
        return MakeString(nullptr, 0);
    }
    return ISCreate(value, -1);
}

// With a negative count of decimals (the default, -1) an integer is written
// in plain decimal and a double in the shortest form that reads back to the
// same value (0.25, 1500, 1e-07). A string variant is given as it is by the
// default form and as its parsed number otherwise; an empty or object
// variant gives an empty string.
IString* ISCreate(IVariant* value, short decimals) {
    if (!value) return nullptr;
    int32_t type = VARIANT_EMPTY;
    value->get_Type(&type);
    switch (type) {
    case VARIANT_INTEGER: {
        int32_t v = 0;
        value->get_Integer(&v);
        if (decimals >= 0) return MakeFixed(v, decimals);
        wchar_t text[256];
        int n = _swprintf(text, 256, L"%d", v);
        return MakeString(text, n);
    }
    case VARIANT_DOUBLE: {
        double v = 0;
        value->get_Double(&v);
        return decimals >= 0 ? MakeFixed(v, decimals) : MakeShortestDouble(v);
    }
    case VARIANT_STRING: {
        IPtr<IString> s;
        value->get_String(s.Out());
        if (decimals < 0) return s ? s.Detach() : MakeString(nullptr, 0);
        return MakeFixed(_IS2Double(CREFString(s.Get())), decimals);
    }
    default:
        return MakeString(nullptr, 0);
    }
}

IVariant* IVCreate(IString* value) {
    IPtr<IVariant> v = IPtr<IVariant>::Adopt(CREFString::CreateVariant());
    if (v) v->put_String(value);
    return v.Detach();
}

IVariant* IVCreate(int value) {
    IPtr<IVariant> v = IPtr<IVariant>::Adopt(CREFString::CreateVariant());
    if (v) v->put_Integer(value);
    return v.Detach();
}

IVariant* IVCreateConvert(CREFString& text) {
    // Byte-order marks read as single characters start with 239 or 254.
    while (text.m_Length > 0) {
        wchar_t c = text.m_pString[0];
        wint_t w = static_cast<wint_t>(c);
        if (!std::iswspace(w) && !std::iswcntrl(w) && c != 239 && c != 254) break;
        ++text.m_pString;
        --text.m_Length;
    }

    IPtr<IVariant> v = IPtr<IVariant>::Adopt(CREFString::CreateVariant());
    if (!v) return nullptr;

    bool number = text.m_Length > 0;
    bool point = false;
    for (int32_t i = (number && text.m_pString[0] == L'-') ? 1 : 0; number && i < text.m_Length; ++i) {
        wchar_t c = text.m_pString[i];
        if (c == L'.' && !point) point = true;
        else if (c < L'0' || c > L'9') number = false;
    }
    if (number && point) {
        v->put_Double(_IS2Double(text));
    } else if (number && text.m_Length <= 9) {
        // Nine characters cannot overflow 32 bits; longer digit runs stay text.
        v->put_Integer(_IS2Integer(text, 10));
    } else {
        IPtr<IString> s = IPtr<IString>::Adopt(ISCreate(static_cast<const tagREFString&>(text)));
        v->put_String(s.Get());
    }
    return v.Detach();
}

int _swprintf(wchar_t* buffer, unsigned long capacity, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    int n = std::vswprintf(buffer, capacity, format, args);
    va_end(args);
    return n;
}
