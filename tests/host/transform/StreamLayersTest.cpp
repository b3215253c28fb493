// The layers of the stream transformer as pure functions: every combination
// restores its input, protected content refuses every change, and the
// codings match their standards' vectors.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "host/transform/AutoHeader.h"
#include "host/transform/Deflate.h"
#include "host/transform/Mime.h"
#include "host/transform/StreamLayers.h"

using namespace host::transform;

namespace {

constexpr int32_t kCompress[] = {0, 0x40, 0x4040};
constexpr int32_t kEncrypt[] = {0, 0x82};
constexpr int32_t kAuth[] = {0, 0x800};
constexpr int32_t kMime[] = {0, 0x400, 0x8400, 0x18400};
constexpr int32_t kHeader[] = {0, 0x1000};

LayerSettings Settings(const char* key = "correct horse") {
    LayerSettings s;
    if (key) s.key = key;
    s.iterations = 2;
    s.maxIterations = 100;
    return s;
}

std::string Mixed(size_t size) {
    std::mt19937 random(7);
    std::string bytes;
    while (bytes.size() < size) {
        if (random() % 3) bytes += "the quick brown fox " + std::to_string(random() % 100) + "\n";
        else for (int i = 0; i < 40; ++i) bytes += static_cast<char>(random());
    }
    bytes.resize(size);
    return bytes;
}

std::string Apply(std::string_view in, int32_t options, const LayerSettings& settings = Settings()) {
    std::string out;
    LayerError error;
    EXPECT_TRUE(ApplyLayers(in, PlanFromOptions(options), settings, out, error)) << error.reason;
    return out;
}

// The reason a revert fails, or "restored:<content>".
std::string Revert(std::string_view in, int32_t options, const LayerSettings& settings = Settings()) {
    std::string out = "stale";
    LayerError error;
    if (RevertLayers(in, PlanFromOptions(options), settings, out, error)) return "restored:" + out;
    return error.reason;
}

TEST(StreamLayers, EveryCombinationRestoresItsInput) {
    const std::string inputs[] = {"", "x", Mixed(5000)};
    for (const char* key : {"correct horse", static_cast<const char*>(nullptr)})
        for (int32_t c : kCompress)
            for (int32_t e : kEncrypt)
                for (int32_t a : kAuth)
                    for (int32_t m : kMime)
                        for (int32_t h : kHeader) {
                            const int32_t options = c | e | a | m | h;
                            if (e && !key) continue;
                            for (const std::string& input : inputs) {
                                SCOPED_TRACE(testing::Message() << "options 0x" << std::hex << options << std::dec
                                                                << " size " << input.size() << " key " << !!key);
                                const std::string out = Apply(input, options, Settings(key));
                                EXPECT_EQ(Revert(out, options, Settings(key)), "restored:" + input);
                                if (h) {
                                    EXPECT_EQ(Revert(out, 0x1000, Settings(key)), "restored:" + input)
                                        << "the header alone suffices";
                                }
                                if (e && input.size() > 100) {
                                    EXPECT_EQ(out.find("quick brown"), std::string::npos) << "no clear text";
                                }
                            }
                        }
}

TEST(StreamLayers, EveryChangedByteOfProtectedContentFailsAlike) {
    for (int32_t options : {0x82, 0x800, 0x4040 | 0x82 | 0x800}) {
        const std::string sealed = Apply("attack at dawn", options);
        for (size_t at = 0; at < sealed.size(); ++at)
            for (char flip : {'\x01', '\x80'}) {
                std::string changed = sealed;
                changed[at] ^= flip;
                ASSERT_EQ(Revert(changed, options), kProtectedContentFailure) << "options " << options << " byte " << at;
            }
        for (size_t keep : {size_t{0}, size_t{1}, size_t{31}, size_t{52}, sealed.size() - 1})
            EXPECT_EQ(Revert(sealed.substr(0, keep), options), kProtectedContentFailure) << "truncated to " << keep;
        EXPECT_EQ(Revert(sealed + "x", options), kProtectedContentFailure) << "a byte appended";
        EXPECT_EQ(Revert(sealed, options, Settings("wrong horse")), kProtectedContentFailure);
    }
}

TEST(StreamLayers, KeyRules) {
    const std::string sealed = Apply("x", 0x82 | 0x1000);
    EXPECT_NE(Revert(sealed, 0x1000, Settings(nullptr)).find("no key"), std::string::npos);
    const std::string keyed = Apply("x", 0x800 | 0x1000);
    EXPECT_EQ(keyed.substr(0, keyed.find('\n')), "#DataStreamEx 1 hmac-sha256");
    EXPECT_NE(Revert(keyed, 0x1000, Settings(nullptr)).find("authenticated with a key"), std::string::npos);
    // A plain digest is refused where a key is at hand: content changed by
    // someone without the key cannot pass with a recomputed SHA-256.
    EXPECT_EQ(Revert(Apply("x", 0x800, Settings(nullptr)), 0x800), kProtectedContentFailure);
    // An iteration count above the reader's cap is refused before any work.
    LayerSettings many = Settings();
    many.iterations = 101;
    EXPECT_EQ(Revert(Apply("x", 0x82, many), 0x82), kProtectedContentFailure);
    EXPECT_EQ(Revert(Apply("x", 0x800, many), 0x800), kProtectedContentFailure);
}

TEST(StreamLayers, CodingsMatchTheStandardVectors) {
    std::string digest;
    HexEncode(Apply("abc", 0x800, Settings(nullptr)).substr(3), digest);
    EXPECT_EQ(digest, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad") << "SHA-256 of abc";
    const char* vectors[][3] = {{"", "", ""}, {"f", "Zg==", "66"}, {"fo", "Zm8=", "666f"},
                                {"foob", "Zm9vYg==", "666f6f62"}, {"foobar", "Zm9vYmFy", "666f6f626172"}};
    for (auto& [plain, base64, hex] : vectors) {
        std::string b64, b16, back, back16;
        LayerError error;
        Base64Encode(plain, b64);
        HexEncode(plain, b16);
        EXPECT_EQ(b64, base64);
        EXPECT_EQ(b16, hex);
        EXPECT_TRUE(Base64Decode(base64, back, error) && back == plain) << base64;
        EXPECT_TRUE(HexDecode(hex, back16, error) && back16 == plain) << hex;
    }
    std::string upper;
    LayerError error;
    EXPECT_TRUE(HexDecode("666F6F", upper, error) && upper == "foo") << "base16 is also written in capitals";
}

TEST(StreamLayers, LargeBase64IsEncodedInTwoHalvesThatJoinExactly) {
    // Large enough for the second half to go to a thread of its own, and
    // not a multiple of three, so the halves and the tail all meet.
    std::string plain(13 * 1000 * 1000 + 2, '\0');
    for (size_t i = 0; i < plain.size(); ++i) plain[i] = static_cast<char>((i * 2654435761u) >> 13);
    std::string encoded, back;
    LayerError error;
    Base64Encode(plain, encoded);
    ASSERT_EQ(encoded.size(), (plain.size() + 2) / 3 * 4);
    ASSERT_TRUE(Base64Decode(encoded, back, error)) << error.reason;
    EXPECT_TRUE(back == plain);
}

TEST(StreamLayers, MimeDecodingIsStrict) {
    struct Case {
        int32_t options;
        std::string text;
    } cases[] = {
        {0x8400, "Zm9"}, {0x8400, "Zm=v"}, {0x8400, "Z==="}, {0x8400, "Zh=="}, {0x8400, "Zm9*"}, {0x400, "666"},
        {0x400, "6g"},   {0x18400, std::string("Z\0\0\0m\0\0", 7)},
        {0x18400, std::string("Z\0\0\1m\0\0\0g\0\0\0=\0\0\0", 16)},
    };
    for (const Case& c : cases) {
        const std::string result = Revert(c.text, c.options);
        EXPECT_EQ(result.rfind("restored:", 0), std::string::npos) << c.text << " gave " << result;
    }
}

TEST(StreamLayers, AutoHeaderIsCheckedAndWinsOverTheOtherBits) {
    const std::string coded = Apply("data", 0x4040 | 0x8400 | 0x1000);
    EXPECT_EQ(coded.substr(0, coded.find('\n')), "#DataStreamEx 1 zlib base64");
    EXPECT_EQ(Revert(coded, 0x1000 | 0x400 | 0x82), "restored:data");
    for (const char* bad : {"#DataStreamEx 2 zlib\n", "#DataStreamEx 1 gzip\n", "#DataStreamEx 1 hex zlib\n",
                            "#DataStreamEx 1 zlib zlib\n", "#DataStreamEx 1  zlib\n", "#DataStreamEx 1 zlib",
                            "data"})
        EXPECT_EQ(Revert(bad, 0x1000).rfind("restored:", 0), std::string::npos) << bad;
    EXPECT_EQ(Revert("#DataStreamEx 1\nx", 0x1000), "restored:x");
}

// The limit's message and the exact limit are checked through "DataStreamEx".
TEST(StreamLayers, DecompressionStopsAtTheLimit) {
    const std::string zeros(16 << 20, '\0');
    for (DeflateFormat format : {DeflateFormat::Raw, DeflateFormat::Zlib}) {
        std::string packed, out;
        LayerError error;
        ASSERT_TRUE(Deflate(zeros, format, packed, error));
        EXPECT_FALSE(Inflate(packed, format, 1 << 20, out, error));
        EXPECT_LT(out.capacity(), size_t{8} << 20) << "no more memory taken than the limit allows";
        EXPECT_FALSE(Inflate(std::string_view(packed).substr(0, packed.size() - 1), format, zeros.size(), out, error))
            << "truncated";
    }
}

} // namespace
