#include "host/archive/Sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace host::fas {

void Sha256::Free::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

Sha256::Sha256() : m_context(EVP_MD_CTX_new()) {
    if (!m_context || EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 is not available");
}

Sha256::~Sha256() = default;

void Sha256::Add(const void* data, size_t size) {
    if (size) EVP_DigestUpdate(m_context.get(), data, size);
}

std::string Sha256::Hex() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(m_context.get(), digest, &length);
    static const char kDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(length * 2);
    for (unsigned int i = 0; i < length; ++i) {
        hex.push_back(kDigits[digest[i] >> 4]);
        hex.push_back(kDigits[digest[i] & 15]);
    }
    return hex;
}

std::string Sha256Hex(std::string_view bytes) {
    Sha256 digest;
    digest.Add(bytes.data(), bytes.size());
    return digest.Hex();
}

} // namespace host::fas
