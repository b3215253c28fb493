// tagREFString: a counted, non-owning view of 32-bit wide characters. The
// text need not be terminated and is never owned by the view.
#pragma once

#include <cstdint>
#include <cwchar>

static_assert(sizeof(wchar_t) == 4, "text is 32-bit wide characters");

struct tagREFString {
    int32_t m_Length;   // characters, no terminator counted
    wchar_t* m_pString; // first character; may be null when the length is 0
};

// A view over a literal or other terminated text.
inline tagREFString REFLiteral(const wchar_t* text) {
    return tagREFString{text ? static_cast<int32_t>(std::wcslen(text)) : 0,
                        const_cast<wchar_t*>(text)};
}
