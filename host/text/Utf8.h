// The one UTF-8 codec of the host runtime and the command line. Encoding
// writes standard UTF-8 and puts U+FFFD for what is no code point (a lone
// surrogate, a value past U+10FFFF). Decoding takes standard UTF-8 only:
// over-long forms, surrogates, values past U+10FFFF and truncated sequences
// are not text. File names, which need not be UTF-8, have their own
// lossless mapping on top of this (FileNameEncoding.h).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace host {

std::string ToUtf8(std::wstring_view text);
// Appends one code point.
void AppendUtf8(std::string& out, char32_t c);

// The text of UTF-8 bytes; each sequence that is not valid becomes one
// U+FFFD.
std::wstring FromUtf8(std::string_view text);
// The text of UTF-8 bytes, or nothing when they are not valid UTF-8.
std::optional<std::wstring> FromStrictUtf8(std::string_view text);

// Decodes the code point at the start of `bytes` into `c`; returns the
// bytes it took, or 0 when they do not start with a valid sequence.
size_t DecodeUtf8Char(std::string_view bytes, char32_t& c);

} // namespace host
