#include "host/transform/SealedBox.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

#include "host/transform/Crypto.h"
#include "host/transform/LargeBlock.h"
#include "sdk/ScopeExit.h"

namespace host::transform {

namespace {

constexpr char kMagic[4] = {'S', 'B', 'X', '1'};
constexpr uint8_t kVersion = 1;
constexpr uint8_t kAesCtrHmac = 1;
constexpr uint8_t kPbkdf2 = 1;
constexpr size_t kSaltSize = 16;
constexpr size_t kIvSize = 16;
constexpr size_t kPart = size_t{1} << 30; // EVP counts in int

void PutBig(uint8_t* at, uint64_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i, value >>= 8) at[i] = static_cast<uint8_t>(value);
}

uint64_t GetBig(const uint8_t* at, int bytes) {
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) value = (value << 8) | at[i];
    return value;
}

// AES-256-CTR over `in` into `to` (the same length).
bool Ctr(const SealKeys& keys, const uint8_t* iv, std::string_view in, uint8_t* to) {
    CipherContext ctx(EVP_CIPHER_CTX_new());
    if (!ctx || EVP_EncryptInit_ex(ctx.get(), EVP_aes_256_ctr(), nullptr, keys.keys.data(), iv) != 1) return false;
    const auto* from = reinterpret_cast<const uint8_t*>(in.data());
    for (size_t done = 0; done < in.size();) {
        const size_t part = std::min(in.size() - done, kPart);
        int wrote = 0;
        if (EVP_EncryptUpdate(ctx.get(), to + done, &wrote, from + done, static_cast<int>(part)) != 1 ||
            static_cast<size_t>(wrote) != part)
            return false;
        done += part;
    }
    return true;
}

bool Tag(const SealKeys& keys, std::string_view covered, Digest& tag) {
    Hmac mac(AsView(keys.keys.data() + 32, 32));
    return mac.Update(covered) && mac.Final(tag);
}

} // namespace

SealKeys::~SealKeys() { OPENSSL_cleanse(keys.data(), keys.size()); }

bool PrepareSealKeys(std::string_view keyText, uint32_t iterations, SealKeys& keys) {
    keys.iterations = iterations;
    keys.derived = RandomBytes(keys.salt.data(), keys.salt.size()) &&
                   DeriveKey(keyText, AsView(keys.salt.data(), kSaltSize), iterations, keys.keys.data(), keys.keys.size());
    return keys.derived;
}

bool ReadSealKeys(std::string_view box, std::string_view keyText, uint32_t maxIterations, SealKeys& keys) {
    keys.derived = false;
    if (box.size() < kSealedHeaderSize + kSealedTagSize) return false;
    const auto* head = reinterpret_cast<const uint8_t*>(box.data());
    const uint64_t iterations = GetBig(head + 8, 4);
    const uint64_t length = GetBig(head + 44, 8);
    const bool wellFormed = std::memcmp(head, kMagic, 4) == 0 && head[4] == kVersion && head[5] == kAesCtrHmac &&
                            head[6] == kPbkdf2 && head[7] == 0 && iterations >= 1 && iterations <= maxIterations &&
                            length == box.size() - kSealedHeaderSize - kSealedTagSize;
    if (!wellFormed) return false;
    keys.iterations = static_cast<uint32_t>(iterations);
    std::memcpy(keys.salt.data(), head + 12, kSaltSize);
    keys.derived = DeriveKey(keyText, AsView(keys.salt.data(), kSaltSize), keys.iterations, keys.keys.data(),
                             keys.keys.size());
    return keys.derived;
}

bool Seal(std::string_view plain, const SealKeys& keys, std::string& out, LayerError& error) {
    if (!keys.derived) return error.Fail("the content cannot be encrypted (the key derivation failed)");
    const size_t start = out.size();
    ReserveBlock(out, start + kSealedHeaderSize + plain.size() + kSealedTagSize);
    out.resize(start + kSealedHeaderSize + plain.size() + kSealedTagSize);
    auto* box = reinterpret_cast<uint8_t*>(out.data() + start);
    std::memcpy(box, kMagic, 4);
    box[4] = kVersion;
    box[5] = kAesCtrHmac;
    box[6] = kPbkdf2;
    box[7] = 0;
    PutBig(box + 8, keys.iterations, 4);
    std::memcpy(box + 12, keys.salt.data(), kSaltSize);
    uint8_t* iv = box + 28;
    PutBig(box + 44, plain.size(), 8);
    Digest tag;
    const bool ok = RandomBytes(iv, kIvSize) && Ctr(keys, iv, plain, box + kSealedHeaderSize) &&
                    Tag(keys, AsView(box, kSealedHeaderSize + plain.size()), tag);
    if (!ok) {
        out.resize(start);
        return error.Fail("the content cannot be encrypted (the cryptographic library failed)");
    }
    std::memcpy(box + kSealedHeaderSize + plain.size(), tag.data(), tag.size());
    return true;
}

bool Open(std::string_view box, const SealKeys& keys, std::string& out, LayerError& error) {
    // Keys that were not derived stand for a header ReadSealKeys refused.
    if (!keys.derived || box.size() < kSealedHeaderSize + kSealedTagSize) return error.Fail(kProtectedContentFailure);
    const auto* head = reinterpret_cast<const uint8_t*>(box.data());
    Digest tag;
    const std::string_view covered = box.substr(0, box.size() - kSealedTagSize);
    if (!Tag(keys, covered, tag) || !SameDigest(tag, box.substr(covered.size())))
        return error.Fail(kProtectedContentFailure);
    const size_t length = covered.size() - kSealedHeaderSize;
    const size_t start = out.size();
    ReserveBlock(out, start + length);
    out.resize(start + length);
    if (!Ctr(keys, head + 28, box.substr(kSealedHeaderSize, length), reinterpret_cast<uint8_t*>(out.data() + start))) {
        out.resize(start);
        return error.Fail("the content cannot be decrypted (the cryptographic library failed)");
    }
    return true;
}

} // namespace host::transform
