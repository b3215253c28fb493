// Why a text or byte conversion of the text family failed: where it stopped
// (the index of the character, or the offset of the byte, in the input the
// conversion was given) and a one-line reason in English.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace host {

struct TextCodecError {
    size_t position = 0;
    std::string reason;
};

// "U+20AC": how the reasons name a character.
inline std::string CodePointText(uint32_t c) {
    char text[16];
    std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(c));
    return text;
}

} // namespace host
