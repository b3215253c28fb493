#include "host/transfer/RemoteListing.h"

#include <ctime>
#include <pugixml.hpp>
#include <random>

#include "host/text/Utf8.h"
#include "host/transfer/FieldText.h"

namespace host {

namespace {

constexpr std::string_view kUploadMark = ".upload-";
constexpr size_t kUploadDigits = 12;

// The name of a node without its namespace prefix ("D:href" is "href").
std::string_view LocalName(const pugi::xml_node& node) {
    std::string_view name = node.name();
    const auto colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

pugi::xml_node Child(const pugi::xml_node& node, std::string_view name) {
    for (pugi::xml_node child : node.children())
        if (LocalName(child) == name) return child;
    return {};
}

int64_t Nanoseconds(std::tm& time) {
    const time_t seconds = timegm(&time);
    return seconds == -1 ? 0 : static_cast<int64_t>(seconds) * 1000000000;
}

// "Mon, 23 Nov 2026 23:14:19 GMT"; 0 when it does not read as one.
int64_t HttpDate(const char* text) {
    std::tm time{};
    const char* end = strptime(text, "%a, %d %b %Y %H:%M:%S", &time);
    return end ? Nanoseconds(time) : 0;
}

// "20261123231419" (fractions ignored); 0 when it does not read as one.
int64_t MlsdTime(std::string_view text) {
    std::tm time{};
    const std::string digits(text.substr(0, 14));
    const char* end = digits.size() == 14 ? strptime(digits.c_str(), "%Y%m%d%H%M%S", &time) : nullptr;
    return end && !*end ? Nanoseconds(time) : 0;
}

std::string WithoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

// Takes the next line of `text` (its "\r\n" or "\n" left out) into `line`;
// false when the text is used up.
bool NextLine(std::string_view& text, std::string_view& line) {
    if (text.empty()) return false;
    const auto end = text.find('\n');
    line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return true;
}

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    for (char& c : lowered) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lowered;
}

} // namespace

std::string PercentDecode(std::string_view text) {
    auto hex = [](char c) {
        return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    };
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && hex(text[i + 1]) >= 0 && hex(text[i + 2]) >= 0) {
            out += static_cast<char>(hex(text[i + 1]) * 16 + hex(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

bool ReadDavListing(std::string_view xml, std::string_view folderPath, std::vector<LocationEntry>& entries) {
    pugi::xml_document document;
    if (!document.load_buffer(xml.data(), xml.size())) return false;
    const pugi::xml_node multistatus = document.document_element();
    if (LocalName(multistatus) != "multistatus") return false;
    const std::string folder = WithoutTrailingSlashes(std::string(folderPath));
    for (pugi::xml_node response : multistatus.children()) {
        if (LocalName(response) != "response") continue;
        std::string path = PercentDecode(TrimField(Child(response, "href").text().get()));
        // An absolute URL names the same path after its host.
        if (const auto scheme = path.find("://"); scheme != std::string::npos) {
            const auto slash = path.find('/', scheme + 3);
            path = slash == std::string::npos ? "/" : path.substr(slash);
        }
        path = WithoutTrailingSlashes(std::move(path));
        const std::string prefix = folder == "/" ? folder : folder + "/";
        if (path.size() <= prefix.size() || path.compare(0, prefix.size(), prefix) != 0) continue;
        std::string name = path.substr(prefix.size());
        if (name.find('/') != std::string::npos) continue;
        LocationEntry entry{.name = FromUtf8(name)};
        for (pugi::xml_node propstat : response.children()) {
            if (LocalName(propstat) != "propstat") continue;
            const pugi::xml_node prop = Child(propstat, "prop");
            if (const pugi::xml_node type = Child(prop, "resourcetype"); type && Child(type, "collection"))
                entry.folder = true;
            if (const pugi::xml_node length = Child(prop, "getcontentlength"))
                entry.size = FieldCount(length.text().get());
            if (const pugi::xml_node modified = Child(prop, "getlastmodified"))
                entry.modified = HttpDate(TrimField(modified.text().get()).data());
        }
        if (entry.folder) entry.size = -1;
        entries.push_back(std::move(entry));
    }
    return true;
}

std::vector<LocationEntry> ReadMlsdListing(std::string_view text) {
    std::vector<LocationEntry> entries;
    for (std::string_view line; NextLine(text, line);) {
        // The facts end at the first space; the name is the rest.
        const auto space = line.find(' ');
        if (space == std::string_view::npos || space + 1 >= line.size()) continue;
        LocationEntry entry{.name = FromUtf8(line.substr(space + 1))};
        std::string_view facts = line.substr(0, space);
        std::string type;
        while (!facts.empty()) {
            const auto semicolon = facts.find(';');
            const std::string_view fact = facts.substr(0, semicolon);
            facts = semicolon == std::string_view::npos ? std::string_view{} : facts.substr(semicolon + 1);
            const auto equals = fact.find('=');
            if (equals == std::string_view::npos) continue;
            const std::string key = Lowered(fact.substr(0, equals));
            const std::string_view value = fact.substr(equals + 1);
            if (key == "type") {
                type = Lowered(value);
            } else if (key == "size") {
                entry.size = FieldCount(value);
            } else if (key == "modify") {
                entry.modified = MlsdTime(value);
            }
        }
        if (type == "cdir" || type == "pdir") continue;
        entry.folder = type == "dir";
        if (entry.folder) entry.size = -1;
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<LocationEntry> ReadLongListing(std::string_view text) {
    std::vector<LocationEntry> entries;
    for (std::string_view line; NextLine(text, line);) {
        // mode, links, owner, group, size, month, day, time or year, name.
        std::string_view fields[8];
        std::string_view rest = line;
        bool whole = true;
        for (std::string_view& field : fields) {
            const auto start = rest.find_first_not_of(' ');
            if (start == std::string_view::npos) {
                whole = false;
                break;
            }
            rest = rest.substr(start);
            const auto stop = rest.find(' ');
            field = rest.substr(0, stop);
            rest = stop == std::string_view::npos ? std::string_view{} : rest.substr(stop);
        }
        if (!whole || rest.size() < 2 || fields[0].size() < 10) continue;
        std::string_view name = rest.substr(1); // one space before the name
        const char kind = fields[0][0];
        if (kind == 'l') {
            if (const auto arrow = name.find(" -> "); arrow != std::string_view::npos) name = name.substr(0, arrow);
        }
        if (name.empty() || name == "." || name == "..") continue;
        LocationEntry entry{.name = FromUtf8(name), .folder = kind == 'd'};
        if (kind == '-') entry.size = FieldCount(fields[4]);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::string UploadWorkName(std::string_view file) {
    static thread_local std::mt19937_64 random{std::random_device{}()};
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string name = "." + std::string(file) + std::string(kUploadMark);
    uint64_t bits = random();
    for (size_t i = 0; i < kUploadDigits; ++i, bits >>= 4) name += kDigits[bits & 15];
    return name;
}

bool IsUploadWorkName(std::string_view name) {
    const size_t tail = kUploadMark.size() + kUploadDigits;
    if (name.size() <= tail + 1 || name[0] != '.') return false;
    const std::string_view end = name.substr(name.size() - tail);
    if (!end.starts_with(kUploadMark)) return false;
    for (char c : end.substr(kUploadMark.size()))
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    return true;
}

} // namespace host
