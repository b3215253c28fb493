#include "host/values/ValueText.h"

#include <charconv>
#include <cstdint>
#include <cstdio>

#include "host/values/HostStrings.h"

namespace host {

namespace {

std::wstring Widen(const char* text, size_t length) { return std::wstring(text, text + length); }

// Only ASCII text can be a number; anything else stays a string.
bool Narrow(std::wstring_view text, std::string* out) {
    out->clear();
    for (wchar_t c : text) {
        // Unsigned, whether wchar_t is signed (x86-64) or not (arm64).
        if (static_cast<uint32_t>(c) > 127) return false;
        *out += static_cast<char>(c);
    }
    return true;
}

int HexDigit(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

} // namespace

std::wstring VariantText(IVariant* value) {
    if (!value) return {};
    int32_t type = VARIANT_EMPTY;
    value->get_Type(&type);
    switch (type) {
    case VARIANT_STRING: {
        IPtr<IString> text;
        value->get_String(text.Out());
        return ToWide(text.Get());
    }
    case VARIANT_INTEGER: {
        int32_t number = 0;
        value->get_Integer(&number);
        return std::to_wstring(number);
    }
    case VARIANT_DOUBLE: {
        double number = 0;
        value->get_Double(&number);
        char buffer[64];
        auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, number);
        if (ec != std::errc()) return {};
        return Widen(buffer, static_cast<size_t>(end - buffer));
    }
    case VARIANT_OBJECT: {
        IPtr<IUnknown> object;
        value->get_Object(object.Out());
        IPtr<IObjectInfo> info = object.Query<IObjectInfo>();
        tagREFString name{0, nullptr};
        if (!info || FAILED(info->GetName(0, &name)) || name.m_Length <= 0 || !name.m_pString) return {};
        return std::wstring(name.m_pString, static_cast<size_t>(name.m_Length));
    }
    default:
        return {};
    }
}

IPtr<IVariant> VariantFromText(std::wstring_view text) {
    IPtr<IVariant> result = NewVariant();
    if (!result) return result;
    std::string narrow;
    if (!text.empty() && Narrow(text, &narrow)) {
        size_t start = narrow[0] == '-' ? 1 : 0;
        size_t digits = 0, points = 0;
        bool other = false;
        for (size_t i = start; i < narrow.size(); ++i) {
            if (narrow[i] >= '0' && narrow[i] <= '9') {
                ++digits;
            } else if (narrow[i] == '.') {
                ++points;
            } else {
                other = true;
            }
        }
        const char* first = narrow.data();
        const char* last = first + narrow.size();
        if (!other && digits > 0 && points == 0) {
            int32_t number = 0;
            auto [end, ec] = std::from_chars(first, last, number);
            if (ec == std::errc() && end == last) {
                result->put_Integer(number);
                return result;
            }
        } else if (!other && digits > 0 && points == 1) {
            double number = 0;
            auto [end, ec] = std::from_chars(first, last, number);
            if (ec == std::errc() && end == last) {
                result->put_Double(number);
                return result;
            }
        }
    }
    IPtr<IString> string = MakeString(text);
    result->put_String(string.Get());
    return result;
}

std::wstring FlagsText(int32_t flags) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "#%06X", static_cast<unsigned>(flags));
    return Widen(buffer, std::char_traits<char>::length(buffer));
}

int32_t FlagsFromText(std::wstring_view text) {
    std::string narrow;
    if (text.empty() || !Narrow(text, &narrow)) return 0;
    uint32_t value = 0;
    const char* first = narrow.data();
    const char* last = first + narrow.size();
    if (narrow[0] == '#') {
        auto [end, ec] = std::from_chars(first + 1, last, value, 16);
        return (ec == std::errc() && end == last) ? static_cast<int32_t>(value) : 0;
    }
    int32_t number = 0;
    auto [end, ec] = std::from_chars(first, last, number);
    return (ec == std::errc() && end == last) ? number : 0;
}

std::wstring IidText(const IID& iid) {
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(iid.Data1), iid.Data2, iid.Data3, iid.Data4[0], iid.Data4[1],
                  iid.Data4[2], iid.Data4[3], iid.Data4[4], iid.Data4[5], iid.Data4[6], iid.Data4[7]);
    return Widen(buffer, std::char_traits<char>::length(buffer));
}

bool IidFromText(std::wstring_view text, IID* iid) {
    // Positions of the hexadecimal digits in "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
    if (!iid || text.size() != 38 || text.front() != L'{' || text.back() != L'}') return false;
    uint8_t bytes[16];
    size_t at = 1;
    for (int i = 0; i < 16; ++i) {
        if (at == 9 || at == 14 || at == 19 || at == 24) {
            if (text[at] != L'-') return false;
            ++at;
        }
        int high = HexDigit(text[at]), low = HexDigit(text[at + 1]);
        if (high < 0 || low < 0) return false;
        bytes[i] = static_cast<uint8_t>(high * 16 + low);
        at += 2;
    }
    if (at != 37) return false;
    IID parsed{};
    parsed.Data1 = (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | bytes[3];
    parsed.Data2 = static_cast<uint16_t>((bytes[4] << 8) | bytes[5]);
    parsed.Data3 = static_cast<uint16_t>((bytes[6] << 8) | bytes[7]);
    for (int i = 0; i < 8; ++i) parsed.Data4[i] = bytes[8 + i];
    *iid = parsed;
    return true;
}

} // namespace host
