// The automatic header: one line of ASCII in front of the transformed
// content that names the layers applied, so that a revert needs nothing
// else. Version 1:
//   "#DataStreamEx 1" { " " token } "\n"
// with the tokens, in this order, of the layers present:
//   "deflate" | "zlib"            compression, raw or zlib format
//   "encrypt"                     the sealed box (SealedBox.h)
//   "sha256" | "hmac-sha256"      the authentication trailer, plain or keyed
//   "hex" | "base64" | "base64-wide"   the MIME coding
// The line is plain single-byte text even before wide base64, and its
// characters ('#', blanks, the line end) are outside the MIME alphabets, so
// it can never be read as part of the coded content. A reader refuses
// another version, an unknown or repeated token, tokens out of order and a
// line longer than kMaxHeaderSize.
#pragma once

#include <string>
#include <string_view>

#include "host/transform/LayerPlan.h"
#include "host/transform/LayerResult.h"

namespace host::transform {

inline constexpr size_t kMaxHeaderSize = 128;

// `keyed`: the authentication trailer is keyed.
std::string WriteAutoHeader(const LayerPlan& plan, bool keyed);

// Reads the header at the start of `in`: the plan (autoHeader set), whether
// the trailer is keyed, and the header's length in bytes.
bool ReadAutoHeader(std::string_view in, LayerPlan& plan, bool& keyed, size_t& length, LayerError& error);

} // namespace host::transform
