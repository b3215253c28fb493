#include "host/transform/Mime.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <thread>

#include "host/transform/LargeBlock.h"

namespace host::transform {

namespace {

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kHexDigits[] = "0123456789abcdef";
constexpr uint8_t kInvalid = 0x80;

// Two base64 characters for every 12-bit value, so that three bytes become
// four characters with two table reads.
struct Base64Pairs {
    std::array<uint16_t, 4096> pairs{};
    constexpr Base64Pairs() {
        for (unsigned v = 0; v < 4096; ++v) {
            const auto hi = static_cast<uint8_t>(kBase64Alphabet[v >> 6]);
            const auto lo = static_cast<uint8_t>(kBase64Alphabet[v & 63]);
            pairs[v] = static_cast<uint16_t>(hi | (lo << 8)); // memory order: hi, lo
        }
    }
};
constexpr Base64Pairs kPairs;

// Each character's 6-bit value, kInvalid outside the alphabet.
struct Base64Values {
    std::array<uint8_t, 256> values{};
    constexpr Base64Values() {
        for (auto& v : values) v = kInvalid;
        for (unsigned i = 0; i < 64; ++i) values[static_cast<uint8_t>(kBase64Alphabet[i])] = static_cast<uint8_t>(i);
    }
};
constexpr Base64Values kValues;

struct HexPairs {
    std::array<uint16_t, 256> pairs{};
    constexpr HexPairs() {
        for (unsigned b = 0; b < 256; ++b)
            pairs[b] = static_cast<uint16_t>(static_cast<uint8_t>(kHexDigits[b >> 4]) |
                                             (static_cast<uint8_t>(kHexDigits[b & 15]) << 8));
    }
};
constexpr HexPairs kHex;

struct HexValues {
    std::array<uint8_t, 256> values{};
    constexpr HexValues() {
        for (auto& v : values) v = kInvalid;
        for (unsigned i = 0; i < 10; ++i) values['0' + i] = static_cast<uint8_t>(i);
        for (unsigned i = 0; i < 6; ++i) {
            values['a' + i] = static_cast<uint8_t>(10 + i);
            values['A' + i] = static_cast<uint8_t>(10 + i);
        }
    }
};
constexpr HexValues kHexValues;

inline void PutPair(char* at, uint16_t pair) { std::memcpy(at, &pair, 2); }

} // namespace

void HexEncode(std::string_view in, std::string& out) {
    const size_t start = out.size();
    ReserveBlock(out, start + in.size() * 2);
    out.resize(start + in.size() * 2);
    char* to = out.data() + start;
    for (unsigned char c : in) {
        PutPair(to, kHex.pairs[c]);
        to += 2;
    }
}

bool HexDecode(std::string_view in, std::string& out, LayerError& error) {
    if (in.size() % 2 != 0) return error.Fail("the hexadecimal text has an odd number of digits");
    const size_t start = out.size();
    out.resize(start + in.size() / 2);
    char* to = out.data() + start;
    uint8_t bad = 0;
    for (size_t i = 0; i < in.size(); i += 2) {
        const uint8_t hi = kHexValues.values[static_cast<uint8_t>(in[i])];
        const uint8_t lo = kHexValues.values[static_cast<uint8_t>(in[i + 1])];
        bad |= hi | lo;
        *to++ = static_cast<char>((hi << 4) | (lo & 15));
    }
    if (bad & kInvalid) return error.Fail("the hexadecimal text holds a character that is no hexadecimal digit");
    return true;
}

namespace {

// Encodes `groups` whole groups of three bytes.
void EncodeGroups(const uint8_t* from, size_t groups, char* to) {
    for (; groups > 0; --groups, from += 3, to += 4) {
        const uint32_t v = (uint32_t{from[0]} << 16) | (uint32_t{from[1]} << 8) | from[2];
        PutPair(to, kPairs.pairs[v >> 12]);
        PutPair(to + 2, kPairs.pairs[v & 0xFFF]);
    }
}

// From this many groups on, the second half is encoded on a thread of its
// own: the output is written about as fast as memory takes it, and a
// second core doubles that.
constexpr size_t kParallelGroups = size_t{4} << 20;

} // namespace

void Base64Encode(std::string_view in, std::string& out) {
    const size_t start = out.size();
    ReserveBlock(out, start + (in.size() + 2) / 3 * 4);
    out.resize(start + (in.size() + 2) / 3 * 4);
    char* to = out.data() + start;
    const auto* from = reinterpret_cast<const uint8_t*>(in.data());
    const size_t groups = in.size() / 3;
    size_t first = groups;
    std::thread second;
    if (groups >= kParallelGroups) {
        first = groups / 2;
        try {
            second = std::thread(EncodeGroups, from + first * 3, groups - first, to + first * 4);
        } catch (const std::system_error&) {
            first = groups; // no thread to be had: all on this one
        }
    }
    EncodeGroups(from, first, to);
    if (second.joinable()) second.join();
    from += groups * 3;
    to += groups * 4;
    const size_t left = in.size() % 3;
    if (left > 0) {
        const uint32_t v = (uint32_t{from[0]} << 16) | (left == 2 ? uint32_t{from[1]} << 8 : 0);
        to[0] = kBase64Alphabet[v >> 18];
        to[1] = kBase64Alphabet[(v >> 12) & 63];
        to[2] = left == 2 ? kBase64Alphabet[(v >> 6) & 63] : '=';
        to[3] = '=';
    }
}

bool Base64Decode(std::string_view in, std::string& out, LayerError& error) {
    if (in.size() % 4 != 0) return error.Fail("the base64 text is not a whole number of four-character groups");
    if (in.empty()) return true;
    // Padding may only end the last group: "xx==" or "xxx=".
    size_t pad = 0;
    if (in.back() == '=') pad = in[in.size() - 2] == '=' ? 2 : 1;
    const size_t start = out.size();
    ReserveBlock(out, start + in.size() / 4 * 3 - pad);
    out.resize(start + in.size() / 4 * 3 - pad);
    char* to = out.data() + start;
    const auto* from = reinterpret_cast<const uint8_t*>(in.data());
    const size_t full = in.size() / 4 - (pad ? 1 : 0);
    uint8_t bad = 0;
    for (size_t g = 0; g < full; ++g, from += 4, to += 3) {
        const uint8_t a = kValues.values[from[0]], b = kValues.values[from[1]];
        const uint8_t c = kValues.values[from[2]], d = kValues.values[from[3]];
        bad |= a | b | c | d;
        const uint32_t v = (uint32_t{a} << 18) | (uint32_t{b} << 12) | (uint32_t{c} << 6) | d;
        to[0] = static_cast<char>(v >> 16);
        to[1] = static_cast<char>(v >> 8);
        to[2] = static_cast<char>(v);
    }
    if (pad) {
        const uint8_t a = kValues.values[from[0]], b = kValues.values[from[1]];
        const uint8_t c = pad == 1 ? kValues.values[from[2]] : 0;
        bad |= a | b | c;
        const uint32_t v = (uint32_t{a} << 18) | (uint32_t{b} << 12) | (uint32_t{c} << 6);
        // The bits below the last whole byte must be zero, so that every
        // content has exactly one text.
        if ((bad & kInvalid) == 0 && (pad == 2 ? (v & 0xFFFF) : (v & 0xFF)) != 0)
            return error.Fail("the base64 text has padding bits that are not zero");
        to[0] = static_cast<char>(v >> 16);
        if (pad == 1) to[1] = static_cast<char>(v >> 8);
    }
    if (bad & kInvalid) return error.Fail("the base64 text holds a character outside its alphabet or misplaced padding");
    return true;
}

void WidenText(std::string_view in, std::string& out) {
    const size_t start = out.size();
    ReserveBlock(out, start + in.size() * 4);
    out.resize(start + in.size() * 4);
    char* to = out.data() + start;
    for (char c : in) {
        to[0] = c;
        to[1] = to[2] = to[3] = 0;
        to += 4;
    }
}

bool NarrowText(std::string_view in, std::string& out, LayerError& error) {
    if (in.size() % 4 != 0) return error.Fail("the wide text is not a whole number of 32-bit characters");
    const size_t start = out.size();
    out.resize(start + in.size() / 4);
    char* to = out.data() + start;
    uint8_t bad = 0;
    for (size_t i = 0; i < in.size(); i += 4) {
        bad |= static_cast<uint8_t>(in[i]) & 0x80;
        bad |= static_cast<uint8_t>(in[i + 1] | in[i + 2] | in[i + 3]);
        *to++ = in[i];
    }
    if (bad) return error.Fail("the wide text holds a character that is not ASCII");
    return true;
}

} // namespace host::transform
