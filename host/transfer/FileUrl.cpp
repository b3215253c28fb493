#include "host/transfer/FileUrl.h"

#include <algorithm>

#include "host/text/FileNameEncoding.h"

namespace host {

namespace {

constexpr std::wstring_view kFilePrefix = L"file://";

bool StartsCaseBlind(std::wstring_view text, std::wstring_view prefix) {
    if (text.size() < prefix.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i) {
        wchar_t c = text[i];
        if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
        if (c != prefix[i]) return false;
    }
    return true;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool PercentDecoded(const std::string& text, std::string& out) {
    out.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? HexValue(text[i + 2]) : -1;
        if (low < 0 || (high == 0 && low == 0)) return false;
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return true;
}

bool PathOfFileUrl(std::wstring_view url, std::string& path, std::wstring& why) {
    std::wstring_view rest = url.substr(kFilePrefix.size());
    const size_t slash = rest.find(L'/');
    const std::wstring_view host = rest.substr(0, std::min(slash, rest.size()));
    if (!host.empty() && !(host.size() == 9 && StartsCaseBlind(host, L"localhost"))) {
        why = L"file URL of another host refused: " + std::wstring(url);
        return false;
    }
    if (slash == std::wstring_view::npos) {
        why = L"the file URL names no file: " + std::wstring(url);
        return false;
    }
    if (!PercentDecoded(FileNameToBytes(rest.substr(slash)), path)) {
        why = L"bad escape in the file URL " + std::wstring(url);
        return false;
    }
    return true;
}

} // namespace

bool LocalPathOfName(std::wstring_view name, std::wstring_view base, std::string& path, std::wstring& why) {
    if (name.empty()) {
        why = L"no file named";
        return false;
    }
    if (StartsCaseBlind(name, kFilePrefix)) return PathOfFileUrl(name, path, why);
    path = FileNameToBytes(name);
    if (path.front() == '/' || base.empty()) return true;
    std::string folder;
    if (!LocalPathOfName(base, {}, folder, why)) return false;
    if (!folder.empty() && folder.back() != '/') folder += '/';
    path = folder + path;
    return true;
}

} // namespace host
