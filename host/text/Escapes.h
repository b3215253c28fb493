// C-style escapes in wide text.
//
// Decoding reads \n \t \r \0 \\ \" \' \a \b \f \v, \xHH (one or two hex
// digits: a character 0x00-0xFF) and \u{H...} (one to six hex digits naming
// a code point that is no surrogate); every other character stands for
// itself. A backslash that starts none of these (a lone trailing one, \x
// without digits, \u without braces, \u{}, an unknown letter) fails with
// the backslash's index.
//
// Encoding writes \n \t \r and \\ for those characters, \xHH for the other
// characters below 0x20 and for 0x7F, \u{H...} (upper-case hex, no leading
// zeros) for characters above 0x7E, and every other character as itself,
// so its result is printable ASCII and decoding gives the text back. A
// value that is no code point (a surrogate, past U+10FFFF) is written as
// \u{FFFD}, as the UTF-8 codec does.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/text/TextCodecError.h"

namespace host {

// The text `text` stands for, or nothing with `error` set.
std::optional<std::wstring> DecodeEscapes(std::wstring_view text, TextCodecError& error);

std::wstring EncodeEscapes(std::wstring_view text);

} // namespace host
