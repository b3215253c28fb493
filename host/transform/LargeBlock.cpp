#include "host/transform/LargeBlock.h"

#include <sys/mman.h>

#include <cstdint>

namespace host::transform {

namespace {

constexpr size_t kHugePage = size_t{2} << 20;
constexpr size_t kWorthIt = size_t{16} << 20;

} // namespace

void ReserveBlock(std::string& out, size_t total) {
    if (total <= out.capacity()) return;
    out.reserve(total);
    if (total < kWorthIt) return;
    // The whole huge pages inside the new block's untouched part.
    const auto begin = reinterpret_cast<uintptr_t>(out.data() + out.size());
    const auto end = reinterpret_cast<uintptr_t>(out.data() + total);
    const uintptr_t first = (begin + kHugePage - 1) & ~(kHugePage - 1);
    const uintptr_t last = end & ~(kHugePage - 1);
    if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

} // namespace host::transform
