#include "host/transform/Authentication.h"

#include <openssl/crypto.h>

#include <array>
#include <cstring>

#include "host/transform/Crypto.h"

namespace host::transform {

namespace {

constexpr size_t kSaltSize = 16;

struct MacKey {
    std::array<uint8_t, 32> bytes{};
    ~MacKey() { OPENSSL_cleanse(bytes.data(), bytes.size()); }
};

// The HMAC of content | salt-and-count under the key derived over the salt.
bool KeyedTag(std::string_view content, std::string_view saltAndCount, const std::string& keyText,
              uint32_t iterations, Digest& tag) {
    MacKey key;
    if (!DeriveKey(keyText, saltAndCount.substr(0, kSaltSize), iterations, key.bytes.data(), key.bytes.size()))
        return false;
    Hmac mac(AsView(key.bytes.data(), key.bytes.size()));
    return mac.Update(content) && mac.Update(saltAndCount) && mac.Final(tag);
}

} // namespace

bool AddAuthentication(std::string& buffer, size_t from, const std::string* keyText, uint32_t iterations,
                       LayerError& error) {
    Digest tag;
    if (!keyText) {
        if (!Sha256(std::string_view(buffer).substr(from), tag)) return error.Fail("the content cannot be hashed");
        buffer.append(reinterpret_cast<const char*>(tag.data()), tag.size());
        return true;
    }
    uint8_t saltAndCount[kSaltSize + 4];
    if (!RandomBytes(saltAndCount, kSaltSize)) return error.Fail("no random bytes for the authentication salt");
    for (int i = 0; i < 4; ++i) saltAndCount[kSaltSize + i] = static_cast<uint8_t>(iterations >> (24 - 8 * i));
    const std::string_view tail = AsView(saltAndCount, sizeof saltAndCount);
    if (!KeyedTag(std::string_view(buffer).substr(from), tail, *keyText, iterations, tag))
        return error.Fail("the content cannot be authenticated (the cryptographic library failed)");
    buffer.append(tail);
    buffer.append(reinterpret_cast<const char*>(tag.data()), tag.size());
    return true;
}

bool CheckAuthentication(std::string_view in, const std::string* keyText, uint32_t maxIterations,
                         std::string_view& content, LayerError& error) {
    Digest tag;
    if (!keyText) {
        if (in.size() < kPlainTrailerSize) return error.Fail(kProtectedContentFailure);
        content = in.substr(0, in.size() - kPlainTrailerSize);
        if (!Sha256(content, tag) || !SameDigest(tag, in.substr(content.size())))
            return error.Fail(kProtectedContentFailure);
        return true;
    }
    if (in.size() < kKeyedTrailerSize) return error.Fail(kProtectedContentFailure);
    content = in.substr(0, in.size() - kKeyedTrailerSize);
    const std::string_view tail = in.substr(content.size(), kSaltSize + 4);
    uint32_t iterations = 0;
    for (int i = 0; i < 4; ++i) iterations = (iterations << 8) | static_cast<uint8_t>(tail[kSaltSize + i]);
    if (iterations == 0 || iterations > maxIterations || !KeyedTag(content, tail, *keyText, iterations, tag) ||
        !SameDigest(tag, in.substr(content.size() + tail.size())))
        return error.Fail(kProtectedContentFailure);
    return true;
}

} // namespace host::transform
