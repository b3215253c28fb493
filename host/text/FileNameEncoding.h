// The conversion between file names as the file system stores them (bytes,
// normally UTF-8) and the wide text of the host. File names need not be
// valid UTF-8, and a name read from a folder must lead back to the very same
// file, so the conversion is lossless in both directions:
//   - valid UTF-8 sequences decode to their code points;
//   - every byte that is not part of a valid sequence (a stray continuation
//     byte, a truncated or overlong sequence, an encoded surrogate, a value
//     above U+10FFFF) decodes to the code point U+DC00 + byte, which lies in
//     U+DC80..U+DCFF (lone low surrogates, which valid UTF-8 never yields);
//   - encoding turns U+DC80..U+DCFF back into that single byte and writes
//     every other code point as standard UTF-8; the remaining surrogates and
//     values above U+10FFFF, which no decoded name contains, become U+FFFD.
#pragma once

#include <string>
#include <string_view>

namespace host {

// Appends the decoded text of `bytes` to `out` (no allocation when `out`
// has room).
void AppendFileNameWide(std::string_view bytes, std::wstring& out);
std::wstring FileNameToWide(std::string_view bytes);

// Appends the bytes of `text` to `out`.
void AppendFileNameBytes(std::wstring_view text, std::string& out);
std::string FileNameToBytes(std::wstring_view text);

} // namespace host
