#include "host/transfer/TransferText.h"

#include <string.h>

#include <algorithm>
#include <cwctype>

#include "host/text/Utf8.h"

namespace host {

std::wstring UrlWithoutCredentials(std::wstring_view url) {
    const size_t scheme = url.find(L"://");
    if (scheme == std::wstring_view::npos) return std::wstring(url);
    const size_t authority = scheme + 3;
    const size_t end = std::min(url.find_first_of(L"/?#", authority), url.size());
    const size_t at = url.substr(0, end).rfind(L'@');
    if (at == std::wstring_view::npos || at < authority) return std::wstring(url);
    std::wstring shown(url.substr(0, authority));
    shown.append(url.substr(at + 1));
    return shown;
}

std::wstring ErrnoText(int error) {
    char buffer[256];
    // The GNU strerror_r returns the text, in `buffer` or a static one.
    std::wstring text = FromUtf8(::strerror_r(error, buffer, sizeof buffer));
    if (!text.empty()) text[0] = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(text[0])));
    return text;
}

} // namespace host
