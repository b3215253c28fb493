// The compression layer: deflate at level 6, either raw (RFC 1951) or in
// the zlib format (RFC 1950, with its header and Adler-32 check).
// Decompression stops with an error as soon as the output would pass
// `limit` bytes, so that a small input cannot make the process allocate
// without bound; it also fails on a truncated stream and on bytes after the
// end of the compressed data.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/transform/LayerResult.h"

namespace host::transform {

enum class DeflateFormat { Raw, Zlib };

// Appends the compressed form of `in` to `out`.
bool Deflate(std::string_view in, DeflateFormat format, std::string& out, LayerError& error);
// Appends the decompressed form of `in` to `out`.
bool Inflate(std::string_view in, DeflateFormat format, uint64_t limit, std::string& out, LayerError& error);

} // namespace host::transform
