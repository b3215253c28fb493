// The authentication layer: a digest appended to the content and checked
// on revert in constant time.
//
// Without a key the trailer is the SHA-256 of the content (32 bytes). With
// a key it is
//   salt (16 random bytes) | iteration count (4 bytes, big-endian) |
//   HMAC-SHA-256 of (content | salt | iteration count)
// where the HMAC key is 32 bytes derived from the key text with
// PBKDF2-HMAC-SHA-256 over that salt, so that it is independent of the
// encryption layer's keys.
//
// Which trailer a revert expects is decided by the reverting side, never by
// the content: with a key it always expects the keyed trailer, so that a
// changed content cannot pass with a recomputed plain SHA-256.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/transform/LayerResult.h"

namespace host::transform {

inline constexpr size_t kPlainTrailerSize = 32;
inline constexpr size_t kKeyedTrailerSize = 16 + 4 + 32;

// Appends the trailer of buffer[from..] to `buffer`; keyed when `keyText`
// is not null.
bool AddAuthentication(std::string& buffer, size_t from, const std::string* keyText, uint32_t iterations,
                       LayerError& error);

// Checks the trailer of `in` and sets `content` to the part before it (a
// view into `in`). Any failure is kProtectedContentFailure.
bool CheckAuthentication(std::string_view in, const std::string* keyText, uint32_t maxIterations,
                         std::string_view& content, LayerError& error);

} // namespace host::transform
