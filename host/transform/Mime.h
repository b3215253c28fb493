// The MIME codings of the stream transformer: lower-case hexadecimal,
// base64 (RFC 4648 alphabet, with padding, no line breaks) and the widening
// of text to 32-bit little-endian characters. Encoding appends to `out`;
// decoding is strict: a character outside the alphabet, wrong or misplaced
// padding, padding bits that are not zero, a length that does not fit or a
// wide character above 0x7F fails and leaves `out` in an unspecified state.
#pragma once

#include <string>
#include <string_view>

#include "host/transform/LayerResult.h"

namespace host::transform {

void HexEncode(std::string_view in, std::string& out);
// Accepts both cases of a-f.
bool HexDecode(std::string_view in, std::string& out, LayerError& error);

void Base64Encode(std::string_view in, std::string& out);
bool Base64Decode(std::string_view in, std::string& out, LayerError& error);

// Each byte (ASCII text) as a 32-bit little-endian character.
void WidenText(std::string_view in, std::string& out);
// Back to bytes: the length must be a multiple of four, each character 0-0x7F.
bool NarrowText(std::string_view in, std::string& out, LayerError& error);

} // namespace host::transform
