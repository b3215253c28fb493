// An incremental SHA-256 (OpenSSL's EVP), giving lower-case hexadecimal.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace host::fas {

class Sha256 final {
public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Add(const void* data, size_t size);
    // The digest of everything added; the object is spent afterwards.
    std::string Hex();

private:
    struct Free {
        void operator()(evp_md_ctx_st* context) const;
    };
    std::unique_ptr<evp_md_ctx_st, Free> m_context;
};

// The SHA-256 of `bytes`.
std::string Sha256Hex(std::string_view bytes);

} // namespace host::fas
