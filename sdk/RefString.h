// tagREFString: a counted, non-owning view of 32-bit wide characters. The
// text need not be terminated and is never owned by the view.
#pragma once

#include <cstdint>
#include <cwchar>
#include <string_view>

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

// The standard view of a counted view (empty when it holds nothing).
inline std::wstring_view REFView(const tagREFString& text) {
    return text.m_Length > 0 && text.m_pString ? std::wstring_view(text.m_pString, static_cast<size_t>(text.m_Length))
                                               : std::wstring_view();
}

// A counted view of standard text; valid while the text is.
inline tagREFString REFOf(std::wstring_view text) {
    return tagREFString{static_cast<int32_t>(text.size()), const_cast<wchar_t*>(text.data())};
}
