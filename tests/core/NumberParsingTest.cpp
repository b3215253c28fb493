// Integer and double parsing of counted views.
#include <climits>
#include <cmath>

#include <gtest/gtest.h>

#include "core/Helpers.h"
#include "ViewText.h"

namespace {

struct IntegerCase {
    std::wstring text;
    int base;
    int result;
};

TEST(IS2Integer, ParsesThePrefixInTheBase) {
    const IntegerCase cases[] = {
        {L"42", 10, 42},
        {L"-42", 10, -42},
        {L"+7", 10, 7},
        {L"#ff", 10, 255},
        {L"#FFFFFFFF", 10, -1},
        {L"ff", 16, 255},
        {L"1a", 16, 26},
        {L"ff", 10, 0},
        {L"1F", 12, 27},
        // Letters count only for bases 11 to 16.
        {L"1F", 17, 1},
        {L"1A", 10, 1},
        // Digits are not checked against the base.
        {L"89", 8, 73},
        {L"12abc", 10, 12},
        {L"-", 10, 0},
        {L"+", 10, 0},
        {L"#", 10, 0},
        {L"-#1", 10, 0},
        {L"", 10, 0},
        {L" 5", 10, 0},
        // 32-bit arithmetic wraps around without a check.
        {L"4294967296", 10, 0},
        {L"4294967297", 10, 1},
        {L"2147483648", 10, INT_MIN},
        {L"-2147483648", 10, INT_MIN},
        // Characters beyond the byte range are never digits.
        {L"1\u0661", 10, 1},
        {L"1\uFF11", 10, 1},
    };
    for (const IntegerCase& c : cases) {
        std::wstring text = c.text;
        EXPECT_EQ(_IS2Integer(ViewOf(text), c.base), c.result)
            << std::string(c.text.begin(), c.text.end()) << " base " << c.base;
    }
}

TEST(IS2Integer, ReadsOnlyTheViewsLength) {
    std::wstring text = L"12345";
    EXPECT_EQ(_IS2Integer(CREFString(text.data(), 3), 10), 123);
    EXPECT_EQ(_IS2Integer(CREFString(text.data(), -1), 10), 0);
}

struct DoubleCase {
    std::wstring text;
    double result;
};

TEST(IS2Double, ParsesIntegerFractionAndSignedExponent) {
    const DoubleCase cases[] = {
        {L"-0.25", -0.25},
        {L"+2.5", 2.5},
        {L"3.", 3.0},
        {L".5", 0.5},
        {L"1.2.3", 1.2},
        {L"12abc", 12.0},
        {L"abc", 0.0},
        {L"", 0.0},
        {L"+", 0.0},
        {L"-", -0.0}, // a lone minus is negative zero
        {L"#10", 16.0},
        {L"#ff", 255.0},
        {L"1.5e+3", 1500.0},
        {L"0.5E+2", 50.0},
        {L"2.5e-1", 0.25},
        // The exponent needs a non-zero fraction and an explicit sign.
        {L"1e+3", 1.0},
        {L"1.0e+3", 1.0},
        {L"1.5e3", 1.5},
        {L"7.5e+", 7.5},
        // The scan stops after the 18th fraction digit, exponent included.
        {L"1.000000000000000001e+2", 1.0},
        {L"1.00000000000000001e+2", 100.0},
        {L"123456789012", 123456789012.0},
    };
    for (const DoubleCase& c : cases) {
        SCOPED_TRACE(std::string(c.text.begin(), c.text.end()));
        std::wstring text = c.text;
        const double value = _IS2Double(ViewOf(text));
        EXPECT_DOUBLE_EQ(value, c.result);
        EXPECT_EQ(std::signbit(value), std::signbit(c.result));
    }
}

} // namespace
