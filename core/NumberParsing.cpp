// Number parsing of counted views. The parsers never fail: they read the
// longest valid prefix and give 0 for text without one.
#include <cctype>
#include <cmath>

#include "core/Helpers.h"

int _IS2Integer(CREFString text, int base) {
    if (text.m_Length <= 0 || !text.m_pString) return 0;
    const wchar_t* c = text.m_pString;
    int32_t i = 0;
    uint32_t sign = 1;
    if (c[0] == L'-' || c[0] == L'+' || c[0] == L'#') {
        if (c[0] == L'-') sign = static_cast<uint32_t>(-1);
        if (c[0] == L'#') base = 16;
        if (text.m_Length == 1) return 0;
        i = 1;
    }
    // Digits are not checked against the base, and the value wraps around in
    // 32 bits without an overflow check.
    uint32_t value = 0;
    bool letters = base >= 11 && base <= 16;
    for (; i < text.m_Length; ++i) {
        wchar_t ch = c[i];
        // wchar_t is signed on x86-64 and unsigned on arm64: compare it unsigned.
        if (static_cast<uint32_t>(ch) < 256) ch = static_cast<wchar_t>(std::toupper(static_cast<int>(ch)));
        uint32_t digit;
        if (ch >= L'0' && ch <= L'9') digit = static_cast<uint32_t>(ch - L'0');
        else if (letters && ch >= L'A' && ch <= L'F') digit = static_cast<uint32_t>(ch - L'A' + 10);
        else break;
        value = value * static_cast<uint32_t>(base) + digit;
    }
    return static_cast<int>(value * sign);
}

double _IS2Double(CREFString text) {
    if (text.m_Length <= 0 || !text.m_pString) return 0.0;
    const wchar_t* c = text.m_pString;
    if (c[0] == L'#') return static_cast<double>(_IS2Integer(text, 10));

    int32_t i = 0;
    double sign = 1.0;
    if (c[0] == L'-' || c[0] == L'+') {
        if (c[0] == L'-') sign = -1.0;
        if (text.m_Length == 1) return sign * 0.0;
        i = 1;
    }

    uint64_t whole = 0; // wraps like the 64-bit integer it is
    int64_t numerator = 0;
    int64_t divisor = 1;
    bool point = false;
    int exponent = 0;
    for (; i < text.m_Length; ++i) {
        wchar_t ch = c[i];
        if (ch >= L'0' && ch <= L'9') {
            int digit = ch - L'0';
            if (!point) {
                whole = whole * 10 + static_cast<uint64_t>(digit);
                continue;
            }
            numerator = numerator * 10 + digit;
            divisor *= 10;
            // Eighteen fraction digits are all a 64-bit divisor can take.
            if (divisor > 999999999999999999LL) break;
            continue;
        }
        if (ch == L'.') {
            if (point) break;
            point = true;
            continue;
        }
        // An exponent is read only after a non-zero fraction and with an
        // explicit sign: 1.5e+3 is 1500, while 1e+3 and 1.5e3 are not scaled.
        if ((ch == L'E' || ch == L'e') && numerator != 0 && i + 1 < text.m_Length &&
            (c[i + 1] == L'+' || c[i + 1] == L'-'))
            exponent = _IS2Integer(CREFString(const_cast<wchar_t*>(c + i + 1), text.m_Length - i - 1), 10);
        break;
    }

    double value = sign * (static_cast<double>(static_cast<int64_t>(whole)) +
                           static_cast<double>(numerator) / static_cast<double>(divisor));
    if (exponent > 0) value *= std::pow(10.0, exponent);
    else if (exponent < 0) value /= std::pow(10.0, -static_cast<double>(exponent));
    return value;
}
