// Cutting, searching and comparing of counted views. Nothing here copies
// text or allocates: every output is a pointer and a length into the text
// the view already points at.
#include "core/REFString.h"

#include <cwctype>

namespace {

bool InSet(wchar_t c, const tagREFString& set) {
    for (int32_t k = 0; k < set.m_Length; ++k)
        if (set.m_pString[k] == c) return true;
    return false;
}

void SetView(CREFString* out, wchar_t* text, int32_t length) {
    if (!out) return;
    out->m_pString = text;
    out->m_Length = length;
}

// A failed cut leaves an empty output at the start of the view.
void SetEmpty(CREFString* out, wchar_t* at) { SetView(out, at, 0); }

// The index of the last `separator` of the view, or -1.
int32_t FindLast(const tagREFString& view, wchar_t separator) {
    for (int32_t p = view.m_Length - 1; p >= 0; --p)
        if (view.m_pString[p] == separator) return p;
    return -1;
}

// Advances `view` by `cut` characters after a line was taken. The view is
// used up (status 1) when nothing remains; without advancing, the status
// tells whether text remains after the line.
HRESULT FinishLine(tagREFString& view, int32_t cut, bool advance) {
    if (!advance) return cut < view.m_Length ? S_OK : E_FAIL;
    view.m_pString += cut;
    view.m_Length -= cut;
    if (view.m_Length <= 0) {
        view.m_Length = 0;
        return S_FALSE;
    }
    return S_OK;
}

// The part after the last separator; shared by GetLineRight and Crop.
HRESULT CutRight(tagREFString& view, CREFString* out, wchar_t separator, bool advance, bool skipSeparator,
                 bool wholeIfMissing) {
    if (view.m_Length <= 0) {
        SetEmpty(out, view.m_pString);
        return E_FAIL;
    }
    wchar_t* text = view.m_pString;
    int32_t length = view.m_Length;
    int32_t p = FindLast(view, separator);
    if (p < 0) {
        if (!wholeIfMissing) {
            SetEmpty(out, text);
            return E_FAIL;
        }
        SetView(out, text, length);
        if (advance) view.m_Length = 0;
        return S_OK;
    }
    int32_t start = skipSeparator ? p + 1 : p;
    SetView(out, text + start, length - start);
    if (advance) view.m_Length = skipSeparator ? p : p + 1;
    return S_OK;
}

bool IsDigit(wchar_t c) { return std::iswdigit(static_cast<wint_t>(c)) != 0; }

// The length of the number token at the start of `text` (which begins with
// a digit or with "-" and a digit). An exponent needs an explicit sign.
int32_t NumberLength(const wchar_t* text, int32_t length) {
    int32_t i = text[0] == L'-' ? 1 : 0;
    while (i < length && IsDigit(text[i])) ++i;
    if (i + 1 < length && text[i] == L'.' && IsDigit(text[i + 1])) {
        i += 2;
        while (i < length && IsDigit(text[i])) ++i;
    }
    if (i + 2 < length && (text[i] == L'E' || text[i] == L'e') && (text[i + 1] == L'+' || text[i + 1] == L'-') &&
        IsDigit(text[i + 2])) {
        i += 3;
        while (i < length && IsDigit(text[i])) ++i;
    }
    return i;
}

bool IsWordCharacter(wchar_t c) {
    wint_t w = static_cast<wint_t>(c);
    if (std::iswspace(w)) return false;
    return c == L'_' || !std::iswpunct(w);
}

} // namespace

CREFString::CREFString(IString* string) : tagREFString{0, nullptr} {
    if (string && FAILED(string->GetString(this))) {
        m_Length = 0;
        m_pString = nullptr;
    }
}

CREFString::CREFString(IDataStream* stream) : tagREFString{0, nullptr} {
    if (!stream) return;
    // The stream keeps its text alive; the string face is only borrowed.
    IPtr<IString> text = QueryAs<IString>(stream);
    if (text && FAILED(text->GetString(this))) {
        m_Length = 0;
        m_pString = nullptr;
    }
}

HRESULT CREFString::GetLine(CREFString* line, bool advance, wchar_t separator, bool dropSeparator) {
    if (m_Length <= 0) {
        SetEmpty(line, m_pString);
        return E_FAIL;
    }
    wchar_t* text = m_pString;
    int32_t cut = m_Length;
    for (int32_t p = 0; p < m_Length; ++p) {
        if (text[p] == separator) {
            cut = p + 1;
            break;
        }
    }
    int32_t lineLength = cut;
    if (dropSeparator && text[cut - 1] == separator) --lineLength;
    SetView(line, text, lineLength);
    return FinishLine(*this, cut, advance);
}

HRESULT CREFString::GetLineCRLF(CREFString* line, bool dropEnd, bool advance) {
    if (m_Length <= 0) {
        SetEmpty(line, m_pString);
        return E_FAIL;
    }
    wchar_t* text = m_pString;
    int32_t p = 0;
    while (p < m_Length && text[p] != 13 && text[p] != 10) ++p;
    int32_t cut = m_Length;
    if (p < m_Length) {
        // A carriage return and a line feed in either order make one line end.
        bool pair = p + 1 < m_Length && (text[p + 1] == 13 || text[p + 1] == 10) && text[p + 1] != text[p];
        cut = pair ? p + 2 : p + 1;
    }
    SetView(line, text, dropEnd ? p : cut);
    return FinishLine(*this, cut, advance);
}

HRESULT CREFString::GetReverseLine(CREFString* line, wchar_t separator, bool advance, bool skipSeparator) {
    wchar_t* text = m_pString;
    int32_t p = m_Length > 0 ? FindLast(*this, separator) : -1;
    if (p < 0) {
        SetEmpty(line, text);
        return E_FAIL;
    }
    SetView(line, text, p);
    if (advance) {
        int32_t by = skipSeparator ? p + 1 : p;
        m_pString += by;
        m_Length -= by;
    }
    return S_OK;
}

HRESULT CREFString::GetLineRight(CREFString* line, wchar_t separator, bool advance, bool skipSeparator,
                                 bool wholeIfMissing) {
    return CutRight(*this, line, separator, advance, skipSeparator, wholeIfMissing);
}

HRESULT CREFString::Crop(CREFString* part, wchar_t separator, bool advance, bool skipSeparator) {
    return CutRight(*this, part, separator, advance, skipSeparator, false);
}

HRESULT CREFString::Split(CREFString* left, CREFString* right, CREFString separators, int stopAtControl) {
    wchar_t* text = m_pString;
    int32_t length = m_Length;
    if (length <= 0) {
        SetView(left, text, length);
        SetEmpty(right, text);
        return E_FAIL;
    }
    if (separators.m_Length > 0) {
        for (int32_t i = 0; i < length; ++i) {
            wchar_t c = text[i]; // signed on x86-64, unsigned on arm64: compared unsigned
            if (InSet(c, separators) || (stopAtControl && static_cast<uint32_t>(c) < 32)) {
                SetView(left, text, i);
                SetView(right, text + i, length - i);
                return S_OK;
            }
        }
    }
    SetView(left, text, length);
    SetEmpty(right, text + length);
    return E_FAIL;
}

HRESULT CREFString::GetFirstWord(CREFString* word, bool advance) {
    wchar_t* text = m_pString;
    int32_t length = m_Length;
    if (length <= 0) {
        SetEmpty(word, text);
        return E_FAIL;
    }
    wchar_t first = text[0];
    wchar_t* tokenStart = text;
    int32_t tokenLength = 0;
    int32_t consumed = 0;
    if (first == L'"') {
        if (length >= 2 && text[1] == L'"') {
            consumed = 2; // "" is an empty token
        } else {
            int32_t close = 2;
            while (close < length && text[close] != L'"') ++close;
            tokenStart = text + 1;
            tokenLength = (close < length ? close : length) - 1;
            if (tokenLength < 0) tokenLength = 0;
            consumed = close < length ? close + 1 : length;
        }
    } else if (IsDigit(first) || (first == L'-' && length >= 2 && IsDigit(text[1]))) {
        consumed = tokenLength = NumberLength(text, length);
    } else if (std::iswpunct(static_cast<wint_t>(first))) {
        consumed = tokenLength = 1;
    } else {
        while (consumed < length && IsWordCharacter(text[consumed])) ++consumed;
        tokenLength = consumed;
    }
    if (consumed == 0) {
        SetEmpty(word, text);
        return E_FAIL;
    }
    SetView(word, tokenStart, tokenLength);
    if (advance) {
        m_pString += consumed;
        m_Length -= consumed;
    }
    return S_OK;
}

int32_t CREFString::GetWord(CREFString* word, bool advance, tagREFString separators) {
    wchar_t* text = m_pString;
    int32_t length = m_Length;
    if (length <= 0) {
        SetEmpty(word, text);
        return E_FAIL;
    }
    int32_t i = 0;
    while (i < length && !InSet(text[i], separators)) ++i;
    SetView(word, text, i);
    if (advance) {
        m_pString += i;
        m_Length -= i;
    }
    return i < length ? i + 1 : 0;
}

int32_t CREFString::Contains(tagREFString needle) {
    if (needle.m_Length <= 0 || m_Length <= 0) return E_FAIL;
    // A naive forward scan. The start of a match is recorded only while the
    // recorded start is still 0, so a match at index 0 of a needle of two or
    // more characters is reported as 1. A failed partial match restarts the
    // scan after its recorded start; one that began at index 0 has none
    // recorded and is not rescanned, so "ab" is not found in "aab" while
    // "lo" is found at 3 in "hello". Callers rely on these positions.
    int32_t matched = 0;
    int32_t start = 0;
    for (int32_t i = 0; i < m_Length; ++i) {
        if (matched < needle.m_Length && m_pString[i] == needle.m_pString[matched]) {
            ++matched;
            if (start == 0) start = i;
            continue;
        }
        if (matched == needle.m_Length) return start;
        if (start != 0) i = start;
        matched = 0;
        start = 0;
    }
    return matched == needle.m_Length ? start : E_FAIL;
}

int32_t CREFString::ContainsChar(tagREFString set) {
    if (set.m_Length <= 0 || m_Length <= 0) return E_FAIL;
    for (int32_t i = 0; i < m_Length; ++i)
        if (InSet(m_pString[i], set)) return i;
    return E_FAIL;
}

HRESULT CREFString::CompareI(tagREFString other, short prefixOnly) const {
    int32_t n = other.m_Length;
    if (prefixOnly) {
        if (m_Length < other.m_Length) return E_FAIL;
    } else if (m_Length < n) {
        n = m_Length;
    }
    if (n <= 0 || m_Length <= 0) return E_FAIL;
    for (int32_t i = 0; i < n; ++i) {
        if (std::towlower(static_cast<wint_t>(m_pString[i])) != std::towlower(static_cast<wint_t>(other.m_pString[i])))
            return E_FAIL;
    }
    return m_Length == other.m_Length ? S_OK : S_FALSE;
}
