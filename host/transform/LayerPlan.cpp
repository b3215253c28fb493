#include "host/transform/LayerPlan.h"

#include "sdk/Transforms.h"

namespace host::transform {

LayerPlan PlanFromOptions(int32_t options) {
    LayerPlan plan;
    if (options & STREAM_DEFLATE)
        plan.compress = (options & STREAM_ZLIB_WRAPPER) ? DeflateFormat::Zlib : DeflateFormat::Raw;
    plan.encrypt = (options & STREAM_ENCRYPT) != 0;
    plan.authenticate = (options & STREAM_AUTHENTICATE) != 0;
    if (options & STREAM_MIME) {
        if (!(options & STREAM_MIME_BASE64)) plan.mime = MimeCoding::Hex;
        else plan.mime = (options & STREAM_MIME_WIDE) ? MimeCoding::Base64Wide : MimeCoding::Base64;
    }
    plan.autoHeader = (options & STREAM_AUTO_HEADER) != 0;
    return plan;
}

} // namespace host::transform
