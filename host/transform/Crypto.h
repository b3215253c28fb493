// The OpenSSL primitives the transformer's layers share: random bytes,
// PBKDF2-HMAC-SHA-256, SHA-256, a streaming HMAC-SHA-256 and a constant-time
// comparison. Each OpenSSL object is owned by an RAII holder here; nothing
// else in the family calls OpenSSL's allocation functions.
#pragma once

#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

namespace host::transform {

using Digest = std::array<uint8_t, 32>;

struct MacContextFree {
    void operator()(EVP_MAC_CTX* c) const { EVP_MAC_CTX_free(c); }
};
struct CipherContextFree {
    void operator()(EVP_CIPHER_CTX* c) const { EVP_CIPHER_CTX_free(c); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree>;

// Fills `out` with cryptographically strong random bytes.
bool RandomBytes(uint8_t* out, size_t size);

// PBKDF2-HMAC-SHA-256 of the key text over `salt`.
bool DeriveKey(std::string_view keyText, std::string_view salt, uint32_t iterations, uint8_t* out, size_t size);

bool Sha256(std::string_view data, Digest& out);

// HMAC-SHA-256 fed in parts.
class Hmac final {
public:
    // False from Ok() when OpenSSL could not set it up.
    explicit Hmac(std::string_view key);
    bool Ok() const { return m_ctx != nullptr; }
    bool Update(std::string_view data);
    bool Final(Digest& out);

private:
    std::unique_ptr<EVP_MAC_CTX, MacContextFree> m_ctx;
};

// True when the two digests are equal; the time taken does not depend on
// where they differ.
bool SameDigest(const Digest& a, std::string_view b);

inline std::string_view AsView(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

} // namespace host::transform
