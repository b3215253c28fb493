// Which layers a transform applies, read from the option word
// (sdk/Transforms.h) or from an automatic header.
#pragma once

#include <cstdint>
#include <optional>

#include "host/transform/Deflate.h"

namespace host::transform {

enum class MimeCoding { None, Hex, Base64, Base64Wide };

struct LayerPlan {
    std::optional<DeflateFormat> compress;
    bool encrypt = false;
    bool authenticate = false;
    MimeCoding mime = MimeCoding::None;
    bool autoHeader = false;

    bool operator==(const LayerPlan&) const = default;
};

// The option word's layers. Encryption is on when either bit of
// STREAM_ENCRYPT is set (a partial word never leaves content in clear);
// the zlib wrapper counts only with deflate, base64 only with MIME and the
// wide form only with base64; other bits are ignored.
LayerPlan PlanFromOptions(int32_t options);

} // namespace host::transform
