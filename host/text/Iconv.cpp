#include "host/text/Iconv.h"

namespace host {

Iconv::Result Iconv::Convert(std::string_view in, char* out, size_t capacity) {
    Result result;
    if (!Valid()) {
        result.error = EBADF;
        return result;
    }
    ::iconv(m_handle, nullptr, nullptr, nullptr, nullptr); // back to the initial state
    char* input = const_cast<char*>(in.data());
    size_t inputLeft = in.size();
    char* output = out;
    size_t outputLeft = capacity;
    if (::iconv(m_handle, &input, &inputLeft, &output, &outputLeft) == static_cast<size_t>(-1)) result.error = errno;
    // Finish a stateful output encoding (a no-op for the stateless ones).
    if (result.error == 0 &&
        ::iconv(m_handle, nullptr, nullptr, &output, &outputLeft) == static_cast<size_t>(-1))
        result.error = errno;
    result.consumed = in.size() - inputLeft;
    result.produced = capacity - outputLeft;
    return result;
}

} // namespace host
