// The encryption layer: AES-256-CTR, then HMAC-SHA-256 over the whole
// container (encrypt then MAC). The 64 bytes of key (32 for the cipher, 32
// for the MAC) are derived from the key text with PBKDF2-HMAC-SHA-256 over a
// random 16-byte salt; the counter starts at a random 16-byte IV.
//
// The container, version 1 (integers big-endian):
//   offset  size  field
//        0     4  magic "SBX1"
//        4     1  version, 1
//        5     1  algorithm, 1 = AES-256-CTR with HMAC-SHA-256
//        6     1  key derivation, 1 = PBKDF2-HMAC-SHA-256
//        7     1  reserved, 0
//        8     4  iteration count
//       12    16  salt
//       28    16  IV
//       44     8  plaintext length n
//       52     n  ciphertext
//     52+n    32  HMAC-SHA-256 (MAC key) of bytes 0 .. 52+n
//
// Open checks the MAC in constant time before decrypting anything; any
// failure (a header field out of range, an iteration count above
// `maxIterations`, a length that does not match, a MAC that does not)
// gives kProtectedContentFailure and appends nothing.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/transform/LayerResult.h"

namespace host::transform {

inline constexpr size_t kSealedHeaderSize = 52;
inline constexpr size_t kSealedTagSize = 32;

// The keys of one box: salt, iteration count and the derived key pair.
// Deriving is the slow part (by design), so the layers' caller derives
// before or beside other work. Wiped when it goes.
struct SealKeys {
    std::array<uint8_t, 16> salt{};
    uint32_t iterations = 0;
    std::array<uint8_t, 64> keys{}; // cipher key, then MAC key
    bool derived = false;
    SealKeys() = default;
    SealKeys(const SealKeys&) = delete;
    SealKeys& operator=(const SealKeys&) = delete;
    ~SealKeys();
};

// New keys for sealing: a random salt and the derivation.
bool PrepareSealKeys(std::string_view keyText, uint32_t iterations, SealKeys& keys);
// The keys a box was sealed with, derived from its header's salt and count;
// false when the header is malformed or asks for more than `maxIterations`
// (Open then fails as for any other change).
bool ReadSealKeys(std::string_view box, std::string_view keyText, uint32_t maxIterations, SealKeys& keys);

bool Seal(std::string_view plain, const SealKeys& keys, std::string& out, LayerError& error);
bool Open(std::string_view box, const SealKeys& keys, std::string& out, LayerError& error);

} // namespace host::transform
