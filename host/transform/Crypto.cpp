#include "host/transform/Crypto.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <climits>

namespace host::transform {

namespace {

struct MacFree {
    void operator()(EVP_MAC* m) const { EVP_MAC_free(m); }
};

// OpenSSL counts in int: long blocks go in parts.
constexpr size_t kMaxPart = size_t{1} << 30;

} // namespace

bool RandomBytes(uint8_t* out, size_t size) { return RAND_bytes(out, static_cast<int>(size)) == 1; }

bool DeriveKey(std::string_view keyText, std::string_view salt, uint32_t iterations, uint8_t* out, size_t size) {
    if (iterations == 0 || iterations > INT_MAX || keyText.size() > INT_MAX) return false;
    return PKCS5_PBKDF2_HMAC(keyText.data(), static_cast<int>(keyText.size()),
                             reinterpret_cast<const unsigned char*>(salt.data()), static_cast<int>(salt.size()),
                             static_cast<int>(iterations), EVP_sha256(), static_cast<int>(size), out) == 1;
}

bool Sha256(std::string_view data, Digest& out) {
    unsigned int size = 0;
    return EVP_Digest(data.data(), data.size(), out.data(), &size, EVP_sha256(), nullptr) == 1 && size == out.size();
}

Hmac::Hmac(std::string_view key) {
    std::unique_ptr<EVP_MAC, MacFree> mac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
    if (!mac) return;
    m_ctx.reset(EVP_MAC_CTX_new(mac.get()));
    if (!m_ctx) return;
    char digest[] = "SHA256";
    OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0), OSSL_PARAM_construct_end()};
    if (EVP_MAC_init(m_ctx.get(), reinterpret_cast<const unsigned char*>(key.data()), key.size(), params) != 1)
        m_ctx.reset();
}

bool Hmac::Update(std::string_view data) {
    if (!m_ctx) return false;
    while (!data.empty()) {
        const size_t part = std::min(data.size(), kMaxPart);
        if (EVP_MAC_update(m_ctx.get(), reinterpret_cast<const unsigned char*>(data.data()), part) != 1) return false;
        data.remove_prefix(part);
    }
    return true;
}

bool Hmac::Final(Digest& out) {
    size_t size = 0;
    return m_ctx && EVP_MAC_final(m_ctx.get(), out.data(), &size, out.size()) == 1 && size == out.size();
}

bool SameDigest(const Digest& a, std::string_view b) {
    return b.size() == a.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

} // namespace host::transform
