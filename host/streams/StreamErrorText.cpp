#include "host/streams/StreamErrorText.h"

#include "host/values/HostStrings.h"

namespace host {

HRESULT AnswerErrorText(const std::string& error, IString** text) {
    if (!text) return E_POINTER;
    *text = MakeString(FromUtf8(error)).Detach();
    if (!*text) return E_FAIL;
    return error.empty() ? S_FALSE : S_OK;
}

std::wstring StreamErrorText(IUnknown* stream) {
    IPtr<IStreamErrorText> errors = QueryAs<IStreamErrorText>(stream);
    if (!errors) return {};
    IPtr<IString> text;
    if (FAILED(errors->get_ErrorText(text.Out()))) return {};
    return ToWide(text.Get());
}

} // namespace host
