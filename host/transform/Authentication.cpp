#include "host/transform/Authentication.h"

#include <openssl/crypto.h>

#include <cstring>

#include "host/transform/Crypto.h"

namespace host::transform {

namespace {

constexpr size_t kSaltSize = 16;

bool Derive(std::string_view keyText, uint32_t iterations, AuthKey& key) {
    key.derived = DeriveKey(keyText, AsView(key.saltAndCount.data(), kSaltSize), iterations, key.key.data(),
                            key.key.size());
    return key.derived;
}

// The HMAC of content | salt-and-count.
bool KeyedTag(std::string_view content, const AuthKey& key, Digest& tag) {
    Hmac mac(AsView(key.key.data(), key.key.size()));
    return key.derived && mac.Update(content) &&
           mac.Update(AsView(key.saltAndCount.data(), key.saltAndCount.size())) && mac.Final(tag);
}

} // namespace

AuthKey::~AuthKey() { OPENSSL_cleanse(key.data(), key.size()); }

bool PrepareAuthKey(std::string_view keyText, uint32_t iterations, AuthKey& key) {
    if (!RandomBytes(key.saltAndCount.data(), kSaltSize)) return key.derived = false;
    for (int i = 0; i < 4; ++i) key.saltAndCount[kSaltSize + i] = static_cast<uint8_t>(iterations >> (24 - 8 * i));
    return Derive(keyText, iterations, key);
}

bool ReadAuthKey(std::string_view in, std::string_view keyText, uint32_t maxIterations, AuthKey& key) {
    key.derived = false;
    if (in.size() < kKeyedTrailerSize) return false;
    std::memcpy(key.saltAndCount.data(), in.data() + in.size() - kKeyedTrailerSize, key.saltAndCount.size());
    uint32_t iterations = 0;
    for (int i = 0; i < 4; ++i) iterations = (iterations << 8) | key.saltAndCount[kSaltSize + i];
    if (iterations == 0 || iterations > maxIterations) return false;
    return Derive(keyText, iterations, key);
}

bool AddAuthentication(std::string& buffer, size_t from, const AuthKey* key, LayerError& error) {
    Digest tag;
    const std::string_view content = std::string_view(buffer).substr(from);
    if (!key) {
        if (!Sha256(content, tag)) return error.Fail("the content cannot be hashed");
    } else if (!KeyedTag(content, *key, tag)) {
        return error.Fail("the content cannot be authenticated (the cryptographic library failed)");
    } else {
        buffer.append(AsView(key->saltAndCount.data(), key->saltAndCount.size()));
    }
    buffer.append(AsView(tag.data(), tag.size()));
    return true;
}

bool CheckAuthentication(std::string_view in, const AuthKey* key, std::string_view& content, LayerError& error) {
    const size_t trailer = key ? kKeyedTrailerSize : kPlainTrailerSize;
    if (in.size() < trailer) return error.Fail(kProtectedContentFailure);
    content = in.substr(0, in.size() - trailer);
    Digest tag;
    const bool ok = key ? KeyedTag(content, *key, tag) && std::memcmp(in.data() + content.size(), key->saltAndCount.data(),
                                                                      key->saltAndCount.size()) == 0
                        : Sha256(content, tag);
    if (!ok || !SameDigest(tag, in.substr(in.size() - tag.size()))) return error.Fail(kProtectedContentFailure);
    return true;
}

} // namespace host::transform
