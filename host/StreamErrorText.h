// The explanation of a stream's last failure. The persistence streams answer
// this host-side interface so that a host (the command line, a test) can show
// why a load or a parse failed: the parser's message with its position, or
// the system's reason for a file error.
#pragma once

#include <string>

#include "sdk/Framework.h"
#include "sdk/InterfaceTraits.h"

namespace host {

struct IStreamErrorText : IUnknown {
    // The message of the last failure (S_OK), or an empty text (S_FALSE) when
    // the last file or parse operation succeeded.
    virtual HRESULT get_ErrorText(IString** text) = 0;
};

const IID& StreamErrorTextIID();

// get_ErrorText of a stream whose last failure is `error` (UTF-8, empty
// after a success).
HRESULT AnswerErrorText(const std::string& error, IString** text);

// The last error message of any stream object that has one; empty otherwise.
std::wstring StreamErrorText(IUnknown* stream);

} // namespace host

template <>
struct InterfaceInfo<host::IStreamErrorText> {
    using Parent = IUnknown;
    static const IID& Id() { return host::StreamErrorTextIID(); }
};
