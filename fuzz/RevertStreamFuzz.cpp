// Fuzz target for the stream transformer's revert path: any bytes, under
// any option word, must be refused cleanly or restored, never crash, leak
// or read out of bounds. The first byte picks the option word; the rest is
// the content. Every few inputs the content also goes forward and back,
// which must restore it exactly.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/transform/StreamLayers.h"

using namespace host::transform;

namespace {

constexpr int32_t kWords[] = {
    0x1000,         0x40,          0x4040,         0x82,           0x800,
    0x400,          0x8400,        0x18400,        0x4040 | 0x82,  0x4040 | 0x82 | 0x800,
    0x40 | 0x800,   0x82 | 0x8400, 0x800 | 0x400,  0x4040 | 0x18400, 0x4040 | 0x82 | 0x800 | 0x8400,
    0x1000 | 0x400, 0,
};

LayerSettings Settings(bool keyed) {
    LayerSettings s;
    if (keyed) s.key = "fuzz key";
    s.iterations = 1;
    s.maxIterations = 8;           // a changed count cannot make a run slow
    s.inflateLimit = 1 << 20;      // nor a small input a large allocation
    return s;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const uint8_t selector = data[0];
    const int32_t options = kWords[selector % (sizeof kWords / sizeof kWords[0])];
    const bool keyed = (selector & 0x80) == 0;
    const std::string_view content(reinterpret_cast<const char*>(data + 1), size - 1);
    const LayerPlan plan = PlanFromOptions(options);
    std::string out;
    LayerError error;
    if (RevertLayers(content, plan, Settings(keyed), out, error) != error.reason.empty()) std::abort();
    if ((selector & 0x40) && (keyed || !plan.encrypt)) {
        std::string forward, back;
        if (!ApplyLayers(content, plan, Settings(keyed), forward, error)) std::abort();
        if (!RevertLayers(forward, plan, Settings(keyed), back, error) || back != content) std::abort();
    }
    return 0;
}
