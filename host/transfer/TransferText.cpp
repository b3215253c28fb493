#include "host/transfer/TransferText.h"

#include <string.h>

#include <cwctype>

#include "host/text/Utf8.h"

namespace host {

std::wstring ErrnoText(int error) {
    char buffer[256];
    // The GNU strerror_r returns the text, in `buffer` or a static one.
    std::wstring text = FromUtf8(::strerror_r(error, buffer, sizeof buffer));
    if (!text.empty()) text[0] = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(text[0])));
    return text;
}

} // namespace host
