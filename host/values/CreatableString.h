// "CreatableString": the host's changeable wide string.
#pragma once

#include <string>

#include "host/base/HostObject.h"

namespace host {

// The text is kept with a terminator after it, so that callers may hand the
// pointer from GetString to the wcs functions. The pointer stays valid until
// the next change of the text.
class CreatableString final : public HostObject<ICreatableString> {
public:
    CreatableString() = default;
    explicit CreatableString(std::wstring text) : m_text(std::move(text)) {}

    HRESULT GetString(tagREFString* view) override;
    // A negative length is refused (E_INVALIDARG); null text clears.
    HRESULT SetString(const wchar_t* text, int32_t length) override;
    HRESULT Append(const wchar_t* text, int32_t length) override;

private:
    std::wstring m_text;
};

// A host string whose text never changes once made: it answers IString
// only. Collections name their items with these, so the text they index
// cannot be changed under them through a name they handed out.
class FixedString final : public HostObject<IString> {
public:
    explicit FixedString(std::wstring text) : m_text(std::move(text)) {}

    HRESULT GetString(tagREFString* view) override;

private:
    std::wstring m_text; // never changed after construction
};

HRESULT CreateCreatableString(const IID* iid, void** out);

} // namespace host
