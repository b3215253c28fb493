#include "host/values/Variant.h"

#include <cerrno>
#include <cmath>
#include <cwchar>
#include <cwctype>
#include <limits>
#include <string>


namespace host {

namespace {

int32_t TruncateToInt(double d) {
    if (std::isnan(d)) return 0;
    if (d >= static_cast<double>(std::numeric_limits<int32_t>::max())) return std::numeric_limits<int32_t>::max();
    if (d <= static_cast<double>(std::numeric_limits<int32_t>::min())) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(d);
}

// Parses the decimal number at the start of the text (after blanks).
bool ParseDecimal(IString* text, double* value) {
    *value = 0.0;
    tagREFString view{0, nullptr};
    if (!text || FAILED(text->GetString(&view)) || view.m_Length <= 0 || !view.m_pString) return false;
    std::wstring copy(view.m_pString, static_cast<size_t>(view.m_Length));
    const wchar_t* begin = copy.c_str();
    while (*begin && std::iswspace(static_cast<wint_t>(*begin))) ++begin;
    // Only plain decimal notation: no hexadecimal, infinity or NaN forms.
    const wchar_t* p = begin;
    if (*p == L'+' || *p == L'-') ++p;
    if (!std::iswdigit(static_cast<wint_t>(*p)) && !(*p == L'.' && std::iswdigit(static_cast<wint_t>(p[1]))))
        return false;
    if (*p == L'0' && (p[1] == L'x' || p[1] == L'X')) {
        *value = 0.0; // "0x1F" reads as the number 0 followed by other text
        return true;
    }
    wchar_t* end = nullptr;
    errno = 0;
    double d = std::wcstod(begin, &end);
    if (end == begin) return false;
    *value = d;
    return true;
}

} // namespace

int32_t Variant::get_Type(int32_t* type) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (type) *type = m_type;
    return m_type;
}

bool Variant::IsNumber() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_type == VARIANT_INTEGER || m_type == VARIANT_DOUBLE;
}

HRESULT Variant::get_Integer(int32_t* value) {
    if (!value) return E_POINTER;
    *value = 0;
    IPtr<IString> text;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        switch (m_type) {
        case VARIANT_INTEGER: *value = m_integer; return S_OK;
        case VARIANT_DOUBLE: *value = TruncateToInt(m_double); return S_OK;
        case VARIANT_STRING: text = m_string; break;
        default: return E_FAIL;
        }
    }
    double d = 0.0;
    if (!ParseDecimal(text.Get(), &d)) return E_FAIL;
    *value = TruncateToInt(d);
    return S_OK;
}

HRESULT Variant::get_Double(double* value) {
    if (!value) return E_POINTER;
    *value = 0.0;
    IPtr<IString> text;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        switch (m_type) {
        case VARIANT_INTEGER: *value = m_integer; return S_OK;
        case VARIANT_DOUBLE: *value = m_double; return S_OK;
        case VARIANT_STRING: text = m_string; break;
        default: return E_FAIL;
        }
    }
    return ParseDecimal(text.Get(), value) ? S_OK : E_FAIL;
}

bool Variant::IsString() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_type == VARIANT_STRING;
}

HRESULT Variant::get_String(IString** value) {
    if (!value) return E_POINTER;
    std::lock_guard<std::mutex> lock(m_mutex);
    *value = nullptr;
    if (m_type != VARIANT_STRING) return E_FAIL;
    IPtr<IString> copy(m_string);
    *value = copy.Detach();
    return S_OK;
}

bool Variant::IsObject() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_type == VARIANT_OBJECT;
}

HRESULT Variant::get_Object(IUnknown** value) {
    if (!value) return E_POINTER;
    std::lock_guard<std::mutex> lock(m_mutex);
    *value = nullptr;
    if (m_type != VARIANT_OBJECT) return E_FAIL;
    IPtr<IUnknown> copy(m_object);
    *value = copy.Detach();
    return S_OK;
}

HRESULT Variant::put_Integer(int32_t value) {
    Assign(VARIANT_INTEGER, value, 0.0, {}, {});
    return S_OK;
}

HRESULT Variant::put_Double(double value) {
    Assign(VARIANT_DOUBLE, 0, value, {}, {});
    return S_OK;
}

HRESULT Variant::put_String(IString* value) {
    if (!value) Assign(VARIANT_EMPTY, 0, 0.0, {}, {});
    else Assign(VARIANT_STRING, 0, 0.0, IPtr<IString>(value), {});
    return S_OK;
}

HRESULT Variant::put_Unknown(IUnknown* value) {
    if (!value) {
        Assign(VARIANT_EMPTY, 0, 0.0, {}, {});
        return S_OK;
    }
    if (IPtr<IVariant> other = QueryAs<IVariant>(value)) {
        if (other.Get() == static_cast<IVariant*>(this)) return S_OK;
        // Read the other variant through its interface (it may be another
        // implementation), outside our own mutex.
        int32_t type = VARIANT_EMPTY;
        other->get_Type(&type);
        switch (type) {
        case VARIANT_INTEGER: {
            int32_t i = 0;
            other->get_Integer(&i);
            Assign(VARIANT_INTEGER, i, 0.0, {}, {});
            break;
        }
        case VARIANT_DOUBLE: {
            double d = 0.0;
            other->get_Double(&d);
            Assign(VARIANT_DOUBLE, 0, d, {}, {});
            break;
        }
        case VARIANT_STRING: {
            IPtr<IString> s;
            other->get_String(s.Out());
            if (s) Assign(VARIANT_STRING, 0, 0.0, std::move(s), {});
            else Assign(VARIANT_EMPTY, 0, 0.0, {}, {});
            break;
        }
        case VARIANT_OBJECT: {
            IPtr<IUnknown> o;
            other->get_Object(o.Out());
            if (o) Assign(VARIANT_OBJECT, 0, 0.0, {}, std::move(o));
            else Assign(VARIANT_EMPTY, 0, 0.0, {}, {});
            break;
        }
        default: Assign(VARIANT_EMPTY, 0, 0.0, {}, {}); break;
        }
        return S_OK;
    }
    // A data stream stays an object even when it also reads as text (a file
    // stream does), so that whoever wants the stream finds it.
    if (IPtr<IString> s = QueryAs<IDataStream>(value) ? IPtr<IString>() : QueryAs<IString>(value)) {
        Assign(VARIANT_STRING, 0, 0.0, std::move(s), {});
        return S_OK;
    }
    Assign(VARIANT_OBJECT, 0, 0.0, {}, IPtr<IUnknown>(value));
    return S_OK;
}

HRESULT Variant::Clear() {
    Assign(VARIANT_EMPTY, 0, 0.0, {}, {});
    return S_OK;
}

void Variant::Assign(VariantType type, int32_t integer, double real, IPtr<IString> text, IPtr<IUnknown> object) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_type = type;
        m_integer = integer;
        m_double = real;
        std::swap(m_string, text);
        std::swap(m_object, object);
    }
    // `text` and `object` now hold the old values and release them here.
}

HRESULT CreateVariant(const IID* iid, void** out) { return CreateHostComponent<Variant>(iid, out); }

} // namespace host
