// Room for a large output block. Layers write blocks of hundreds of
// megabytes; touched page by page, such a block costs one page fault per
// 4 KiB, which for a fast layer (MIME coding, decryption) takes longer than
// the work itself. Reserving through here asks the kernel for huge pages for
// the block (a hint it may ignore), then the caller resizes as usual.
#pragma once

#include <cstddef>
#include <string>

namespace host::transform {

// Makes sure `out` can grow to `total` bytes without moving.
void ReserveBlock(std::string& out, size_t total);

} // namespace host::transform
