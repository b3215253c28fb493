// Wide text to GB2312 bytes and back (EUC-CN: ASCII as itself, every other
// character as two bytes 0xA1-0xFE).
//
// Encoding holds to the characters GB2312 has a cell for, read as GB18030
// reads that cell, so that decoding gives back exactly the text encoded
// (GB18030 reads 0xA1A4 as U+00B7 and 0xA1AA as U+2014, and so encoding
// takes those). A character without such a cell fails the whole encoding
// with its index; nothing is ever replaced.
//
// Decoding reads GB18030, the superset of GB2312 and GBK, so bytes written
// by GBK tools decode too. An invalid or cut-short sequence fails with its
// byte offset.
//
// Both directions go through glibc's iconv, with handles of their own per
// call, so they may run on any number of threads at once.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/text/TextCodecError.h"

namespace host {

// The GB2312 bytes of `text`, or nothing with `error` set (position: the
// character's index).
std::optional<std::string> EncodeGb2312(std::wstring_view text, TextCodecError& error);

// The text of GB2312, GBK or GB18030 bytes, or nothing with `error` set
// (position: the byte offset of the sequence that is not valid).
std::optional<std::wstring> DecodeGb18030(std::string_view bytes, TextCodecError& error);

} // namespace host
