// Wide text to UTF-8 and path separator normalisation.
#include <cstring>
#include <memory>

#include "core/Helpers.h"

namespace {

// Bytes the encoder spends on one code point. The limits are strictly
// below 2047 and 65535, so those two values take one byte more than the
// shortest form; readers of our files expect exactly these bytes.
int EncodedSize(uint32_t code) {
    if (code < 128) return 1;
    if (code < 2047) return 2;
    if (code < 65535) return 3;
    return 4;
}

} // namespace

char* _IS2A(tagREFString text, int* length) {
    int32_t count = text.m_pString && text.m_Length > 0 ? text.m_Length : 0;
    size_t capacity = count > 256 ? static_cast<size_t>(count) + 4 : 260;
    std::unique_ptr<char[]> out(new char[capacity]);
    size_t used = 0;
    for (int32_t i = 0; i < count; ++i) {
        uint32_t code = static_cast<uint32_t>(text.m_pString[i]);
        int size = EncodedSize(code);
        // Grow by 256 bytes whenever the next code point and the terminator
        // might not fit.
        while (capacity - used < static_cast<size_t>(size) + 1) {
            std::unique_ptr<char[]> larger(new char[capacity + 256]);
            std::memcpy(larger.get(), out.get(), used);
            out = std::move(larger);
            capacity += 256;
        }
        unsigned char* b = reinterpret_cast<unsigned char*>(out.get() + used);
        switch (size) {
        case 1:
            b[0] = static_cast<unsigned char>(code);
            break;
        case 2:
            b[0] = static_cast<unsigned char>(0xC0 | (code >> 6));
            b[1] = static_cast<unsigned char>(0x80 | (code & 0x3F));
            break;
        case 3:
            b[0] = static_cast<unsigned char>(0xE0 | (code >> 12));
            b[1] = static_cast<unsigned char>(0x80 | ((code >> 6) & 0x3F));
            b[2] = static_cast<unsigned char>(0x80 | (code & 0x3F));
            break;
        default:
            // Values beyond 21 bits are not code points; their excess high
            // bits cannot be written and are dropped.
            b[0] = static_cast<unsigned char>(0xF0 | ((code >> 18) & 0x07));
            b[1] = static_cast<unsigned char>(0x80 | ((code >> 12) & 0x3F));
            b[2] = static_cast<unsigned char>(0x80 | ((code >> 6) & 0x3F));
            b[3] = static_cast<unsigned char>(0x80 | (code & 0x3F));
            break;
        }
        used += static_cast<size_t>(size);
    }
    out[used] = '\0';
    if (length) *length = static_cast<int>(used);
    return out.release();
}

HRESULT CheckSeparator(tagREFString text) {
    if (text.m_Length <= 0 || !text.m_pString) return E_FAIL;
    for (int32_t i = 0; i < text.m_Length; ++i)
        if (text.m_pString[i] == L'\\') text.m_pString[i] = L'/';
    return S_OK;
}
