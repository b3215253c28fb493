#include "host/archive/SchemeFile.h"

#include <charconv>
#include <unordered_set>

#include "host/archive/Sha256.h"
#include "host/text/FileNameEncoding.h"

namespace host::fas {

namespace {

constexpr std::string_view kManifestHead = "FAS-SCHEME 1\n";
constexpr std::string_view kStateHead = "FAS-STATE 1\n";

void AppendEscaped(std::string& out, std::string_view bytes) {
    static const char kDigits[] = "0123456789abcdef";
    for (unsigned char c : bytes) {
        if (c < 0x20 || c == 0x7f || c == '\\') {
            out += "\\x";
            out.push_back(kDigits[c >> 4]);
            out.push_back(kDigits[c & 15]);
        } else {
            out.push_back(static_cast<char>(c));
        }
    }
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

bool Unescape(std::string_view text, std::string& out) {
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c == 0x7f) return false;
        if (c != '\\') {
            out.push_back(static_cast<char>(c));
            continue;
        }
        if (text.size() - i < 4 || text[i + 1] != 'x') return false;
        const int high = HexValue(text[i + 2]), low = HexValue(text[i + 3]);
        if (high < 0 || low < 0) return false;
        out.push_back(static_cast<char>(high * 16 + low));
        i += 3;
    }
    return true;
}

// Takes the next field up to a blank from `rest`.
std::string_view Field(std::string_view& rest) {
    const size_t blank = rest.find(' ');
    std::string_view field = rest.substr(0, blank);
    rest = blank == std::string_view::npos ? std::string_view() : rest.substr(blank + 1);
    return field;
}

template <class T>
bool Number(std::string_view text, T& value, int base = 10) {
    if (text.empty() || text.size() > 20 || text[0] == '-' || text[0] == '+') return false;
    if (text.size() > 1 && text[0] == '0' && base == 10) return false; // one spelling per number
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size();
}

bool IsHash(std::string_view text) {
    if (text.size() != 64) return false;
    for (char c : text)
        if (HexValue(c) < 0) return false;
    return true;
}

} // namespace

bool IsRelativeName(std::wstring_view name) {
    if (name.empty() || name.front() == L'/') return false;
    size_t start = 0;
    while (true) {
        const size_t slash = name.find(L'/', start);
        const std::wstring_view part = name.substr(start, slash == std::wstring_view::npos ? name.npos : slash - start);
        if (part.empty() || part == L"." || part == L"..") return false;
        if (part.find(L'\0') != std::wstring_view::npos) return false;
        if (slash == std::wstring_view::npos) return true;
        start = slash + 1;
    }
}

std::string FormatSchemeFile(const SchemeFile& file) {
    std::string out(file.kind == SchemeKind::Manifest ? kManifestHead : kStateHead);
    out += "serial " + std::to_string(file.serial) + "\n";
    char mode[16];
    for (const SchemeRow& row : file.rows) {
        out += row.installed && file.kind == SchemeKind::ClientState ? "I " : "F ";
        out += std::to_string(row.size) + " " + std::to_string(row.modified) + " ";
        const auto [end, error] = std::to_chars(mode, mode + sizeof mode, row.mode & 07777, 8);
        out.append(mode, end);
        out += " " + row.sha256 + " ";
        AppendEscaped(out, FileNameToBytes(row.path));
        out += "\n";
    }
    const std::string digest = Sha256Hex(out);
    out += "end " + std::to_string(file.rows.size()) + " " + digest + "\n";
    return out;
}

bool ParseSchemeFile(std::string_view bytes, SchemeKind kind, SchemeFile& out, std::wstring& why) {
    const std::string_view head = kind == SchemeKind::Manifest ? kManifestHead : kStateHead;
    const wchar_t* what = kind == SchemeKind::Manifest ? L"scheme file" : L"client state file";
    auto refuse = [&](size_t line, const std::wstring& reason) {
        why = std::wstring(L"the ") + what + L" is damaged or not one (line " + std::to_wstring(line) + L": " +
              reason + L")";
        return false;
    };
    if (bytes.substr(0, head.size()) != head) return refuse(1, L"unknown header");
    out = SchemeFile{kind, 0, {}};
    std::unordered_set<std::wstring> seen;
    size_t at = head.size();
    size_t line = 1;
    bool haveSerial = false;
    while (true) {
        ++line;
        const size_t end = bytes.find('\n', at);
        if (end == std::string_view::npos) return refuse(line, L"cut short: no closing line");
        std::string_view rest = bytes.substr(at, end - at);
        const size_t lineStart = at;
        at = end + 1;
        const std::string_view tag = Field(rest);
        if (!haveSerial) {
            if (tag != "serial" || !Number(rest, out.serial)) return refuse(line, L"no serial number");
            haveSerial = true;
            continue;
        }
        if (tag == "end") {
            size_t count = 0;
            if (!Number(Field(rest), count) || !IsHash(rest)) return refuse(line, L"bad closing line");
            if (at != bytes.size()) return refuse(line + 1, L"text after the closing line");
            if (count != out.rows.size()) return refuse(line, L"the row count does not match: cut short or altered");
            if (Sha256Hex(bytes.substr(0, lineStart)) != rest)
                return refuse(line, L"the digest does not match: the rows were altered");
            return true;
        }
        SchemeRow row;
        if (tag == "I" && kind == SchemeKind::ClientState) {
            row.installed = true;
        } else if (tag != "F") {
            return refuse(line, L"unknown row");
        }
        if (!Number(Field(rest), row.size) || !Number(Field(rest), row.modified) ||
            !Number(Field(rest), row.mode, 8) || row.mode > 07777)
            return refuse(line, L"bad size, time or mode");
        row.sha256 = std::string(Field(rest));
        if (!IsHash(row.sha256)) return refuse(line, L"bad SHA-256");
        std::string path;
        if (!Unescape(rest, path)) return refuse(line, L"bad escape in the path");
        row.path = FileNameToWide(path);
        if (!IsRelativeName(row.path)) return refuse(line, L"the path \"" + row.path + L"\" is not a relative name");
        if (!seen.insert(row.path).second) return refuse(line, L"the path \"" + row.path + L"\" comes twice");
        out.rows.push_back(std::move(row));
    }
}

} // namespace host::fas
