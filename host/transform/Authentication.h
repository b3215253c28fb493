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

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/transform/LayerResult.h"

namespace host::transform {

inline constexpr size_t kPlainTrailerSize = 32;
inline constexpr size_t kKeyedTrailerSize = 16 + 4 + 32;

// The key of a keyed trailer: its salt and count as stored, and the
// derived HMAC key. Deriving is the slow part, so the caller derives before
// or beside other work. Wiped when it goes.
struct AuthKey {
    std::array<uint8_t, 20> saltAndCount{};
    std::array<uint8_t, 32> key{};
    bool derived = false;
    AuthKey() = default;
    AuthKey(const AuthKey&) = delete;
    AuthKey& operator=(const AuthKey&) = delete;
    ~AuthKey();
};

// A new key for a trailer: a random salt and the derivation.
bool PrepareAuthKey(std::string_view keyText, uint32_t iterations, AuthKey& key);
// The key the keyed trailer of `in` was made with; false when `in` is too
// short or asks for more than `maxIterations` (the check then fails as for
// any other change).
bool ReadAuthKey(std::string_view in, std::string_view keyText, uint32_t maxIterations, AuthKey& key);

// Appends the trailer of buffer[from..] to `buffer`: keyed with `key`, or a
// plain SHA-256 when `key` is null.
bool AddAuthentication(std::string& buffer, size_t from, const AuthKey* key, LayerError& error);

// Checks the trailer of `in` (keyed with `key`, or plain when null) and sets
// `content` to the part before it, a view into `in`. Any failure is
// kProtectedContentFailure.
bool CheckAuthentication(std::string_view in, const AuthKey* key, std::string_view& content, LayerError& error);

} // namespace host::transform
