// Makers of host strings and variants, number parsing and formatting,
// wide-to-UTF-8 conversion and path separator normalisation.
#pragma once

#include "core/REFString.h"

// Host string makers: a new string with one reference, or null.
[[nodiscard]] IString* ISCreate(const wchar_t* text);
[[nodiscard]] IString* ISCreate(const tagREFString& text);
[[nodiscard]] IString* ISCreate(const char* utf8, int bytes);
[[nodiscard]] IString* ISCreateHex(unsigned int value);
// A variant as text: its string, the name of the object it holds (empty
// without one), or its number in the default form.
[[nodiscard]] IString* ISCreate(IVariant* value);
// A variant's number with `decimals` decimals in fixed point. A negative
// count is the default form: integers in plain decimal, doubles in the
// shortest text that reads back to the same value (0.25, 1500, 1e-07).
[[nodiscard]] IString* ISCreate(IVariant* value, short decimals);

// The text of a host string as a standard view (empty for null), valid
// while the string lives; and a new host string held by the result.
std::wstring_view ISView(IString* text);
IPtr<IString> ISMake(std::wstring_view text);

// Host variant makers: a new variant with one reference, or null.
[[nodiscard]] IVariant* IVCreate(IString* value);
[[nodiscard]] IVariant* IVCreate(int value);
// A variant of the type the text looks like; the view is trimmed at its front.
[[nodiscard]] IVariant* IVCreateConvert(CREFString& text);

// Parsers of counted views; they never fail (unparsable text gives 0).
int _IS2Integer(CREFString text, int base);
double _IS2Double(CREFString text);

// Wide text to a new terminated UTF-8 array (free with delete[]); the byte
// length without the terminator is stored through `length` when not null.
[[nodiscard]] char* _IS2A(tagREFString text, int* length);

// Replaces every backslash with a slash in place; E_FAIL for an empty text.
HRESULT CheckSeparator(tagREFString text);

// vswprintf into `buffer` of `capacity` wide characters.
int _swprintf(wchar_t* buffer, unsigned long capacity, const wchar_t* format, ...);
