#include "host/text/UrlText.h"

#include <algorithm>

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

} // namespace host
