#include "host/transform/Deflate.h"

#include <zlib.h>

#include <algorithm>
#include <climits>

#include "host/transform/LargeBlock.h"
#include "sdk/ScopeExit.h"

namespace host::transform {

namespace {

constexpr int kLevel = 6;
constexpr int kWindowBits = 15;
constexpr size_t kStep = size_t{1} << 20;         // output grown by at least this much at a time
constexpr size_t kMaxStep = size_t{64} << 20;
constexpr size_t kMaxPass = size_t{1} << 30;      // zlib counts in 32-bit units

int WindowBits(DeflateFormat format) { return format == DeflateFormat::Zlib ? kWindowBits : -kWindowBits; }

// Feeds the next part of `in` to the stream when it has run dry.
void Refill(z_stream& z, std::string_view in, size_t& fed) {
    if (z.avail_in == 0 && fed < in.size()) {
        const size_t part = std::min(in.size() - fed, kMaxPass);
        z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data() + fed));
        z.avail_in = static_cast<uInt>(part);
        fed += part;
    }
}

} // namespace

bool Deflate(std::string_view in, DeflateFormat format, std::string& out, LayerError& error) {
    z_stream z{};
    if (deflateInit2(&z, kLevel, Z_DEFLATED, WindowBits(format), 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return error.Fail("the compressor cannot start (out of memory)");
    ScopeExit end([&] { deflateEnd(&z); });
    const size_t start = out.size();
    // About what text-like content deflates to; more grows as it must.
    ReserveBlock(out, start + in.size() / 2 + kStep);
    size_t produced = start, fed = 0;
    for (;;) {
        Refill(z, in, fed);
        if (out.size() - produced < kStep / 4) {
            // Room for about the rest at a guessed ratio, at least one step.
            const size_t guess = std::max(kStep, (in.size() - fed + z.avail_in) / 3);
            out.resize(produced + std::min(guess, kMaxPass));
        }
        z.next_out = reinterpret_cast<Bytef*>(out.data() + produced);
        z.avail_out = static_cast<uInt>(std::min(out.size() - produced, kMaxPass));
        const uInt room = z.avail_out;
        const int rc = deflate(&z, fed == in.size() ? Z_FINISH : Z_NO_FLUSH);
        produced += room - z.avail_out;
        if (rc == Z_STREAM_END) break;
        if (rc != Z_OK && rc != Z_BUF_ERROR) {
            out.resize(start);
            return error.Fail("the compressor failed");
        }
    }
    out.resize(produced);
    return true;
}

bool Inflate(std::string_view in, DeflateFormat format, uint64_t limit, std::string& out, LayerError& error) {
    z_stream z{};
    if (inflateInit2(&z, WindowBits(format)) != Z_OK) return error.Fail("the decompressor cannot start (out of memory)");
    ScopeExit end([&] { inflateEnd(&z); });
    const size_t start = out.size();
    ReserveBlock(out, start + static_cast<size_t>(std::min<uint64_t>(limit, in.size() * uint64_t{3} + kStep)));
    size_t produced = start, fed = 0;
    for (;;) {
        Refill(z, in, fed);
        const uint64_t done = produced - start;
        if (out.size() - produced < kStep / 4) {
            // Grow in steps of half the input, between 1 and 64 MB, so that
            // at most one step more than the output is ever touched, and
            // never by more than the limit allows plus one byte (the byte
            // that proves it was passed).
            const size_t guess = std::clamp(in.size() / 2, kStep, kMaxStep);
            const uint64_t allowed = limit - done + 1;
            out.resize(produced + static_cast<size_t>(std::min<uint64_t>({guess, kMaxPass, allowed})));
        }
        z.next_out = reinterpret_cast<Bytef*>(out.data() + produced);
        z.avail_out = static_cast<uInt>(std::min(out.size() - produced, kMaxPass));
        const uInt room = z.avail_out;
        const int rc = inflate(&z, Z_NO_FLUSH);
        produced += room - z.avail_out;
        if (produced - start > limit) {
            out.resize(start);
            return error.Fail("the decompressed content exceeds the limit of " + std::to_string(limit) +
                              " bytes (setting [DataStreamEx] MaxInflatedBytes)");
        }
        if (rc == Z_STREAM_END) {
            if (z.avail_in != 0 || fed != in.size()) {
                out.resize(start);
                return error.Fail("the compressed content is followed by other bytes");
            }
            break;
        }
        if (rc == Z_BUF_ERROR && z.avail_in == 0 && fed == in.size()) {
            out.resize(start);
            return error.Fail("the compressed content is truncated");
        }
        if (rc != Z_OK && rc != Z_BUF_ERROR) {
            out.resize(start);
            return error.Fail(rc == Z_MEM_ERROR ? "the decompressor ran out of memory" : "the compressed content is corrupt");
        }
    }
    out.resize(produced);
    return true;
}

} // namespace host::transform
