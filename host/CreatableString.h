// "CreatableString": the host's changeable wide string.
#pragma once

#include <string>

#include "host/HostObject.h"

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

HRESULT CreateCreatableString(const IID* iid, void** out);

} // namespace host
