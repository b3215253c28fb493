// Reading and writing the folder stream's text form (described with an
// example in FolderFormat.h). Line by line:
//
//   document := header entry* ; header := "FolderStream" "1"
//   entry    := "empty" name | "int" name integer | "double" name number
//             | "string" name quoted | "raw" name count hex?
//             | "folder" name "{" | "object" name quoted "{" | "}"
//   name     := quoted
//
// Tokens are separated by blanks (spaces or tabs); a line may end in CR LF.
#include "host/streams/FolderFormat.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <utility>

#include "host/streams/StreamNesting.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

constexpr std::string_view kHeader = "FolderStream 1";
constexpr const char* kHexDigits = "0123456789abcdef";

bool IsUnicodeScalar(uint32_t c) { return c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF); }

bool NeedsEscape(uint32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F) || !IsUnicodeScalar(c); }

void AppendQuoted(std::string& out, std::wstring_view text) {
    out += '"';
    for (wchar_t w : text) {
        const uint32_t c = static_cast<uint32_t>(w);
        switch (c) {
        case '\\': out += "\\\\"; break;
        case '"': out += "\\\""; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (NeedsEscape(c)) {
                char buffer[16];
                std::snprintf(buffer, sizeof buffer, "\\u{%x}", c);
                out += buffer;
            } else {
                out += ToUtf8(std::wstring_view(&w, 1));
            }
        }
    }
    out += '"';
}

std::string FormatDouble(double value) {
    if (std::isnan(value)) return "nan";
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

void SerialiseEntries(std::string& out, const FolderNode& folder, int depth);

void SerialiseEntry(std::string& out, const FolderEntry& entry, int depth) {
    const std::string indent(static_cast<size_t>(depth) * 2, ' ');
    out += indent;
    auto named = [&](const char* type) {
        out += type;
        out += ' ';
        AppendQuoted(out, entry.name);
    };
    const EntryValue& value = entry.value;
    if (std::holds_alternative<std::monostate>(value)) {
        named("empty");
    } else if (auto* integer = std::get_if<int32_t>(&value)) {
        named("int");
        out += ' ' + std::to_string(*integer);
    } else if (auto* real = std::get_if<double>(&value)) {
        named("double");
        out += ' ' + FormatDouble(*real);
    } else if (auto* text = std::get_if<TextValue>(&value)) {
        named("string");
        out += ' ';
        AppendQuoted(out, text->text);
    } else if (auto* raw = std::get_if<RawBlock>(&value)) {
        named("raw");
        out += ' ' + std::to_string(raw->bytes.size());
        if (!raw->bytes.empty()) {
            out += ' ';
            for (unsigned char b : raw->bytes) {
                out += kHexDigits[b >> 4];
                out += kHexDigits[b & 15];
            }
        }
    } else if (auto* object = std::get_if<ObjectRecord>(&value)) {
        named("object");
        out += ' ';
        AppendQuoted(out, object->component);
        out += " {\n";
        if (object->content) SerialiseEntries(out, *object->content, depth + 1);
        out += indent + '}';
    } else if (auto* folder = std::get_if<SubFolder>(&value)) {
        named("folder");
        out += " {\n";
        if (folder->node) SerialiseEntries(out, *folder->node, depth + 1);
        out += indent + '}';
    }
    out += '\n';
}

// Recurses once per level of folders, which the streams keep within
// kMaxStreamNesting.
void SerialiseEntries(std::string& out, const FolderNode& folder, int depth) {
    for (const FolderEntry& entry : folder.Entries()) SerialiseEntry(out, entry, depth);
}

// ---- reading

class ParseError final {
public:
    explicit ParseError(std::string message) : m_message(std::move(message)) {}
    const std::string& Message() const { return m_message; }

private:
    std::string m_message;
};

// The tokens of one line.
class LineReader final {
public:
    LineReader(std::string_view line, size_t number) : m_line(line), m_number(number) {}

    [[noreturn]] void Fail(const std::string& what) const {
        throw ParseError("line " + std::to_string(m_number) + ": " + what);
    }

    void SkipBlanks() {
        while (m_pos < m_line.size() && (m_line[m_pos] == ' ' || m_line[m_pos] == '\t')) ++m_pos;
    }

    bool AtEnd() {
        SkipBlanks();
        return m_pos >= m_line.size();
    }

    // A run of characters up to the next blank.
    std::string_view Word(const char* what) {
        SkipBlanks();
        const size_t start = m_pos;
        while (m_pos < m_line.size() && m_line[m_pos] != ' ' && m_line[m_pos] != '\t') ++m_pos;
        if (start == m_pos) Fail(std::string("missing ") + what);
        return m_line.substr(start, m_pos - start);
    }

    std::wstring Quoted(const char* what) {
        SkipBlanks();
        if (m_pos >= m_line.size() || m_line[m_pos] != '"') Fail(std::string("missing ") + what + " in double quotes");
        ++m_pos;
        std::wstring text;
        while (true) {
            if (m_pos >= m_line.size()) Fail(std::string("the ") + what + " has no closing quote");
            const char ch = m_line[m_pos];
            if (ch == '"') {
                ++m_pos;
                break;
            }
            if (ch == '\\') {
                text += Escape();
                continue;
            }
            char32_t c = 0;
            const size_t used = DecodeUtf8Char(m_line.substr(m_pos), c);
            if (used == 0) Fail("invalid UTF-8 in the " + std::string(what));
            m_pos += used;
            if (c < 0x20 && c != '\t') Fail("a control character in the " + std::string(what) + " must be escaped");
            text += static_cast<wchar_t>(c);
        }
        return text;
    }

    void Expect(std::string_view token) {
        if (Word(std::string(token).c_str()) != token) Fail("expected '" + std::string(token) + "'");
    }

    void ExpectEnd() {
        if (!AtEnd()) Fail("unexpected text '" + std::string(m_line.substr(m_pos)) + "'");
    }

private:
    wchar_t Escape() {
        ++m_pos; // the backslash
        if (m_pos >= m_line.size()) Fail("a backslash ends the line");
        const char ch = m_line[m_pos++];
        switch (ch) {
        case '\\': return L'\\';
        case '"': return L'"';
        case 'n': return L'\n';
        case 'r': return L'\r';
        case 't': return L'\t';
        case 'u': {
            const size_t close = m_line.find('}', m_pos);
            if (m_pos >= m_line.size() || m_line[m_pos] != '{' || close == std::string_view::npos)
                Fail("\\u must be followed by {hex digits}");
            const std::string_view digits = m_line.substr(m_pos + 1, close - m_pos - 1);
            uint32_t value = 0;
            auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
            if (digits.empty() || digits.size() > 8 || result.ptr != digits.data() + digits.size() ||
                value > 0x7FFFFFFF)
                Fail("invalid character number in \\u{" + std::string(digits) + "}");
            m_pos = close + 1;
            return static_cast<wchar_t>(value);
        }
        default: Fail(std::string("unknown escape '\\") + ch + "'");
        }
    }

    std::string_view m_line;
    size_t m_number;
    size_t m_pos = 0;
};

int32_t ParseInteger(LineReader& line) {
    const std::string_view word = line.Word("integer");
    int32_t value = 0;
    auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result.ec != std::errc() || result.ptr != word.data() + word.size())
        line.Fail("'" + std::string(word) + "' is not a 32-bit integer");
    return value;
}

double ParseDouble(LineReader& line) {
    const std::string_view word = line.Word("number");
    double value = 0;
    auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result.ec != std::errc() || result.ptr != word.data() + word.size())
        line.Fail("'" + std::string(word) + "' is not a number");
    return value;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

RawBlock ParseRaw(LineReader& line) {
    const std::string_view countWord = line.Word("byte count");
    size_t count = 0;
    auto result = std::from_chars(countWord.data(), countWord.data() + countWord.size(), count);
    if (result.ec != std::errc() || result.ptr != countWord.data() + countWord.size())
        line.Fail("'" + std::string(countWord) + "' is not a byte count");
    RawBlock raw;
    if (count == 0) return raw;
    const std::string_view hex = line.Word("hexadecimal bytes");
    if (hex.size() != count * 2)
        line.Fail("the block should have " + std::to_string(count) + " bytes but has " +
                  std::to_string(hex.size() / 2) + (hex.size() % 2 ? " and a half" : ""));
    raw.bytes.reserve(count);
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int high = HexValue(hex[i]), low = HexValue(hex[i + 1]);
        if (high < 0 || low < 0) line.Fail("'" + std::string(hex.substr(i, 2)) + "' is not a hexadecimal byte");
        raw.bytes += static_cast<char>(high * 16 + low);
    }
    return raw;
}

struct OpenFolder {
    FolderNode* node;
    size_t line;
};

void Parse(std::string_view text, FolderNode& root) {
    std::vector<OpenFolder> open{{&root, 0}};
    bool headerSeen = false;
    size_t number = 0;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        std::string_view content = text.substr(start, end - start);
        start = end + 1;
        ++number;
        if (!content.empty() && content.back() == '\r') content.remove_suffix(1);
        LineReader line(content, number);
        if (line.AtEnd()) continue;
        const std::string_view type = line.Word("entry type");
        if (type.front() == '#') continue;
        if (!headerSeen) {
            if (type != "FolderStream") line.Fail("the text does not start with '" + std::string(kHeader) + "'");
            const std::string_view version = line.Word("version");
            if (version != "1") line.Fail("unsupported version " + std::string(version));
            line.ExpectEnd();
            headerSeen = true;
            continue;
        }
        if (type == "}") {
            if (open.size() == 1) line.Fail("'}' without an open folder");
            line.ExpectEnd();
            open.pop_back();
            continue;
        }
        FolderNode& parent = *open.back().node;
        FolderEntry entry;
        entry.name = line.Quoted("name");
        if (entry.name.empty()) line.Fail("an entry name is empty");
        // A folder or an object opens a level below its parent.
        auto openLevel = [&] {
            if (parent.depth >= kMaxStreamNesting) line.Fail(NestingTooDeepText("folders and objects are"));
            return std::make_shared<FolderNode>(parent.depth + 1);
        };
        FolderNode* opened = nullptr;
        if (type == "empty") {
        } else if (type == "int") {
            entry.value = ParseInteger(line);
        } else if (type == "double") {
            entry.value = ParseDouble(line);
        } else if (type == "string") {
            entry.value = TextValue{line.Quoted("text")};
        } else if (type == "raw") {
            entry.value = ParseRaw(line);
        } else if (type == "folder") {
            line.Expect("{");
            auto node = openLevel();
            opened = node.get();
            entry.value = SubFolder{std::move(node)};
        } else if (type == "object") {
            std::wstring component = line.Quoted("component name");
            if (component.empty()) line.Fail("the component name is empty");
            line.Expect("{");
            auto node = openLevel();
            opened = node.get();
            entry.value = ObjectRecord{std::move(component), std::move(node)};
        } else {
            line.Fail("unknown entry type '" + std::string(type) + "'");
        }
        line.ExpectEnd();
        if (parent.Find(entry.name)) line.Fail("a second entry named \"" + ToUtf8(entry.name) + "\"");
        parent.Append(std::move(entry));
        if (opened) open.push_back({opened, number});
    }
    if (!headerSeen) throw ParseError("the text does not start with '" + std::string(kHeader) + "'");
    if (open.size() > 1)
        throw ParseError("line " + std::to_string(open.back().line) + ": the folder opened here is not closed");
}

} // namespace

std::string SerialiseFolder(const FolderNode& folder) {
    std::string out(kHeader);
    out += '\n';
    SerialiseEntries(out, folder, 0);
    return out;
}

bool ParseFolder(std::string_view text, FolderNode& folder, std::string& error) {
    FolderNode parsed(folder.depth);
    try {
        Parse(text, parsed);
    } catch (const ParseError& e) {
        error = e.Message();
        return false;
    }
    ReplaceEntries(folder, std::move(parsed));
    return true;
}

} // namespace host
