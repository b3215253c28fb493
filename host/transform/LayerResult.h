// How the layers of the stream transformer report: each layer is a pure
// function from one byte block to another (std::string_view in, std::string
// out) that returns false and sets a one-line reason when it cannot.
#pragma once

#include <string>

namespace host::transform {

// The reason a layer failed, in UTF-8, one line, never holding key text.
struct LayerError {
    std::string reason;

    bool Fail(std::string why) {
        reason = std::move(why);
        return false;
    }
};

// The one reason every failed revert of protected content gives, whatever
// went wrong (wrong key, a changed byte, truncation, a header out of range),
// so that the message tells an attacker nothing about which.
inline constexpr const char* kProtectedContentFailure =
    "the protected content cannot be restored: the key is wrong, or the content was changed or truncated";

} // namespace host::transform
