// The stream transformer's layers composed: forward, compression,
// encryption, authentication, MIME coding, then the automatic header in
// front; a revert undoes them in the reverse order. Pure functions over
// byte blocks; the component (DataStreamEx.h) reads the input, the key and
// the settings and publishes the result.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/transform/LayerPlan.h"
#include "host/transform/LayerResult.h"

namespace host::transform {

struct LayerSettings {
    // The key text (UTF-8); none when neither put_Key nor the settings gave one.
    std::optional<std::string> key;
    // PBKDF2 iterations for new content, and the most a revert accepts.
    uint32_t iterations = 600000;
    uint32_t maxIterations = 10000000;
    // The most bytes a decompression may produce.
    uint64_t inflateLimit = uint64_t{4} << 30;
};

// Transforms `in` by the plan into `out` (replaced). Encryption needs a
// key; the authentication is keyed when there is one.
bool ApplyLayers(std::string_view in, const LayerPlan& plan, const LayerSettings& settings, std::string& out,
                 LayerError& error);

// Reverts `in` into `out` (replaced). With `plan.autoHeader` the layers are
// those the header at the start of `in` names, and the rest of the plan is
// not read; otherwise the plan's.
bool RevertLayers(std::string_view in, const LayerPlan& plan, const LayerSettings& settings, std::string& out,
                  LayerError& error);

} // namespace host::transform
