#include "host/text/UrlText.h"

#include <algorithm>

namespace host {

std::wstring UrlWithoutCredentials(std::wstring_view url) {
    // Every "scheme://" counts: a URL can stand inside another one's path.
    std::wstring shown;
    size_t from = 0;
    for (size_t scheme; (scheme = url.find(L"://", from)) != std::wstring_view::npos;) {
        const size_t authority = scheme + 3;
        const size_t end = std::min(url.find_first_of(L"/?#", authority), url.size());
        const size_t at = url.substr(0, end).rfind(L'@');
        shown.append(url.substr(from, authority - from));
        from = at == std::wstring_view::npos || at < authority ? authority : at + 1;
    }
    shown.append(url.substr(from));
    return shown;
}

} // namespace host
