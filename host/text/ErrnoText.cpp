#include "host/text/ErrnoText.h"

#include <string.h>

#include <cwctype>

#include "host/text/Utf8.h"

namespace host {

std::wstring SystemErrorText(int error) {
    char buffer[256];
    // The GNU strerror_r returns the text, in `buffer` or a static one.
    return FromUtf8(::strerror_r(error, buffer, sizeof buffer));
}

std::wstring ErrnoText(int error) {
    std::wstring text = SystemErrorText(error);
    if (!text.empty()) text[0] = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(text[0])));
    return text;
}

} // namespace host
