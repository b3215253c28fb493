// What the stream transformer reads from the settings registry ("Registry",
// host/settings/Registry.h), all in the section "DataStreamEx":
//   Key               the key text used when put_Key gave none
//   MaxInflatedBytes  the most bytes a decompression may produce (decimal,
//                     default 4294967296)
//   Iterations        PBKDF2 iterations for new content (decimal, 100000 to
//                     kMaxIterations, default kDefaultIterations)
// A missing registry, section or key means the default (no key). A value
// that is not a number in range is an error, not silently replaced.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/transform/LayerResult.h"

namespace host::transform {

inline constexpr uint32_t kDefaultIterations = 600000;
inline constexpr uint32_t kMinConfiguredIterations = 100000;
// The most iterations a revert accepts from content it reads: a higher count
// is refused, so that changed content cannot make a revert run for hours.
inline constexpr uint32_t kMaxIterations = 10000000;
inline constexpr uint64_t kDefaultInflateLimit = uint64_t{4} << 30;

std::optional<std::string> ConfiguredKey();
bool ConfiguredInflateLimit(uint64_t& limit, LayerError& error);
bool ConfiguredIterations(uint32_t& iterations, LayerError& error);

// For tests (which run under an emulator too): when not zero, replaces the
// iteration count for new content, bypassing the settings and their lower
// bound. Not thread-safe against running transforms.
void SetIterationsForTesting(uint32_t iterations);
uint32_t IterationsForTesting();

} // namespace host::transform
