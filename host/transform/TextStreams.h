// How the text transforms read their source and write their target
// (the contract is IStreamTransform's, sdk/Transforms.h).
//
// Reading never moves or changes the source. Writing goes to the target's
// current position in one Write of the whole result, so a host stream (all
// or nothing, host/streams/ByteBuffer.h) is either left as it was or holds
// the whole result; the caller builds the result completely before writing.
// Failures give a one-line reason for the event log.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sdk/Framework.h"

namespace host {

// What Transform reads: the source's IString when it answers one, else its
// content as 32-bit characters (a length that is no multiple of four
// fails).
std::optional<std::wstring> ReadSourceText(IDataStream* source, std::string& reason);

// What TransformBack reads: the source's content; a source that answers
// IString gives one byte per character (a character above 0xFF fails).
std::optional<std::string> ReadSourceBytes(IDataStream* source, std::string& reason);

bool WriteTargetBytes(IDataStream* target, std::string_view bytes, std::string& reason);

// `wide`: the text as 32-bit characters, and put into the target's string
// as well when the target answers IString with ICreatableString (after the
// bytes are written); otherwise the text as UTF-8.
bool WriteTargetText(IDataStream* target, std::wstring_view text, bool wide, std::string& reason);

// Writes "<reason>" under the title `component` to "EventLogGlobal" as an
// error line, and returns E_FAIL.
HRESULT ReportTransformFailure(const wchar_t* component, const std::string& reason);

} // namespace host
