// The persistence streams' answers to IStreamErrorText (sdk/Streams.h): the
// explanation of a stream's last failure.
#pragma once

#include <string>

#include "sdk/Framework.h"
#include "sdk/InterfaceTraits.h"

namespace host {

using ::IStreamErrorText;
using ::StreamErrorTextIID;

// get_ErrorText of a stream whose last failure is `error` (UTF-8, empty
// after a success).
HRESULT AnswerErrorText(const std::string& error, IString** text);

// The last error message of any stream object that has one; empty otherwise.
std::wstring StreamErrorText(IUnknown* stream);

} // namespace host
