// CREFString: a counted view of wide text with cutting, searching and
// comparing operations, and the makers of host strings, variants and
// collections. Views never own or copy text.
#pragma once

#include "sdk/Framework.h"

class CREFString : public tagREFString {
public:
    CREFString() : tagREFString{0, nullptr} {}
    CREFString(const tagREFString& r) : tagREFString(r) {}
    CREFString(wchar_t* text, int32_t length) : tagREFString{length, text} {}
    // A view over a terminated text (its wcslen); null gives an empty view.
    explicit CREFString(const wchar_t* text) : tagREFString(REFLiteral(text)) {}
    // Borrows the host string's text; null gives an empty view.
    explicit CREFString(IString* string);
    // Borrows the text of a stream that answers IString; else empty.
    explicit CREFString(IDataStream* stream);
    CREFString(const CREFString&) = default;
    CREFString& operator=(const CREFString&) = default;
    virtual ~CREFString() = default;

    // Cutting. Each output may be null. Statuses: 0, 1 (view used up),
    // 0x80004005 (failure).
    virtual HRESULT GetLine(CREFString* line, bool advance, wchar_t separator, bool dropSeparator);
    virtual HRESULT GetLineCRLF(CREFString* line, bool dropEnd, bool advance);
    virtual HRESULT GetReverseLine(CREFString* line, wchar_t separator, bool advance, bool skipSeparator);
    virtual HRESULT GetLineRight(CREFString* line, wchar_t separator, bool advance, bool skipSeparator,
                                 bool wholeIfMissing);
    virtual HRESULT Crop(CREFString* part, wchar_t separator, bool advance, bool skipSeparator);
    virtual HRESULT Split(CREFString* left, CREFString* right, CREFString separators, int stopAtControl);
    virtual HRESULT GetFirstWord(CREFString* word, bool advance);
    // Returns i + 1 when a separator was found at i, 0 at the end, or
    // 0x80004005 for an empty view.
    virtual int32_t GetWord(CREFString* word, bool advance, tagREFString separators);
    // Searching: positions, or 0x80004005.
    virtual int32_t Contains(tagREFString needle);
    virtual int32_t ContainsChar(tagREFString set);

    // 0 equal, 1 one a prefix of the other, 0x80004005 different.
    HRESULT CompareI(tagREFString other, short prefixOnly) const;

    bool IsEmpty() const { return m_Length <= 0; }

    // Makers of new host objects; one reference owned by the caller, or null.
    static ICreatableString* CreateString();
    static IVariant* CreateVariant();
    static ISuperCollection* CreateCollection();
};

// The default download base URL.
extern SHADOW_EXPORT CREFString gDefaultURL;
