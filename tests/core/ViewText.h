// Small helpers of the core tests: views over test text and their contents.
#pragma once

#include <string>

#include "core/REFString.h"

// A view over the characters of `text`, which must outlive the view.
inline CREFString ViewOf(std::wstring& text) { return CREFString(text.data(), static_cast<int32_t>(text.size())); }

// The characters a view shows; an empty or negative view gives "".
inline std::wstring TextOf(const tagREFString& view) {
    if (view.m_Length <= 0 || !view.m_pString) return std::wstring();
    return std::wstring(view.m_pString, static_cast<size_t>(view.m_Length));
}
