// The one owner of an iconv conversion handle. A handle keeps conversion
// state and must not be used by two threads at once: make one per call (or
// per thread), never share one.
#pragma once

#include <iconv.h>

#include <cerrno>
#include <cstddef>
#include <string_view>

namespace host {

class Iconv final {
public:
    // Opens the conversion from `from` to `to` (glibc's encoding names);
    // Valid() tells whether it could be opened.
    Iconv(const char* to, const char* from) : m_handle(::iconv_open(to, from)) {}
    ~Iconv() {
        if (Valid()) ::iconv_close(m_handle);
    }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;

    bool Valid() const { return m_handle != reinterpret_cast<iconv_t>(-1); }

    // What one conversion of a whole input did: the input bytes it took and
    // the output bytes it wrote, and 0 or the errno that stopped it (EILSEQ
    // for an input it cannot convert, EINVAL for a sequence cut short at the
    // end, E2BIG when `out` was too small).
    struct Result {
        size_t consumed = 0;
        size_t produced = 0;
        int error = 0;
    };

    // Converts `in` into `out`, from the initial state; stops at the first
    // failure.
    Result Convert(std::string_view in, char* out, size_t capacity);

private:
    iconv_t m_handle;
};

} // namespace host
