#include "host/settings/IniDocument.h"

#include <charconv>
#include <cstdint>

#include "host/collections/KeyLookup.h"

namespace host {

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\v' || c == L'\f'; }

std::wstring_view Trim(std::wstring_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

bool IsQuoted(std::wstring_view value) { return value.size() >= 2 && value.front() == L'"' && value.back() == L'"'; }

bool HasLineBreakOrNul(std::wstring_view text) {
    return text.find_first_of(std::wstring_view(L"\r\n\0", 3)) != std::wstring_view::npos;
}

// A value written between quotes as it is, and read back so.
bool NeedsPlainQuotes(std::wstring_view value) {
    return !value.empty() && (IsBlank(value.front()) || IsBlank(value.back()) || IsQuoted(value));
}

bool IsUnicodeScalar(uint32_t c) { return c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF); }

// A value that a line cannot hold as it is.
bool NeedsEscapes(std::wstring_view value) {
    for (wchar_t w : value) {
        const auto c = static_cast<uint32_t>(w);
        if (c == L'\n' || c == L'\r' || c == 0 || !IsUnicodeScalar(c)) return true;
    }
    return false;
}

std::wstring Escaped(std::wstring_view value) {
    std::wstring out;
    for (size_t i = 0; i < value.size(); ++i) {
        const wchar_t w = value[i];
        const auto c = static_cast<uint32_t>(w);
        switch (c) {
        case L'\\': out += L"\\\\"; break;
        case L'"': out += L"\\\""; break;
        case L'\n': out += L"\\n"; break;
        case L'\r': out += L"\\r"; break;
        case L'\t': out += L"\\t"; break;
        default:
            if (c < 0x20 || (c >= 0x7F && c <= 0x9F) || !IsUnicodeScalar(c) ||
                (c == L' ' && (i == 0 || i + 1 == value.size()))) {
                char digits[8];
                const auto end = std::to_chars(digits, digits + sizeof digits, c, 16).ptr;
                out += L"\\u{";
                out.append(digits, end);
                out += L'}';
            } else {
                out += w;
            }
        }
    }
    return out;
}

// The character of a "\u{hex}" escape at the start of `text` and the length
// of the escape; 0 when the text starts no such escape.
size_t CodeEscape(std::wstring_view text, wchar_t* character) {
    if (text.size() < 4 || text.substr(0, 3) != L"\\u{") return 0;
    uint32_t value = 0;
    size_t i = 3;
    for (; i < text.size() && i < 3 + 8; ++i) {
        const wchar_t d = text[i];
        const int digit = d >= L'0' && d <= L'9' ? d - L'0'
                          : d >= L'a' && d <= L'f' ? d - L'a' + 10
                          : d >= L'A' && d <= L'F' ? d - L'A' + 10
                                                   : -1;
        if (digit < 0) break;
        value = value * 16 + static_cast<uint32_t>(digit);
    }
    if (i == 3 || i >= text.size() || text[i] != L'}') return 0;
    *character = static_cast<wchar_t>(value);
    return i + 1;
}

std::wstring Unescaped(std::wstring_view text) {
    std::wstring out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        const wchar_t next = i + 1 < text.size() ? text[i + 1] : L'\0';
        if (c == L'\\') {
            wchar_t simple = 0;
            switch (next) {
            case L'\\': simple = L'\\'; break;
            case L'"': simple = L'"'; break;
            case L'n': simple = L'\n'; break;
            case L'r': simple = L'\r'; break;
            case L't': simple = L'\t'; break;
            }
            if (simple) {
                out += simple;
                ++i;
                continue;
            }
            wchar_t coded = 0;
            if (size_t used = CodeEscape(text.substr(i), &coded)) {
                out += coded;
                i += used - 1;
                continue;
            }
        }
        out += c; // a backslash that starts no escape stands for itself
    }
    return out;
}

// The value of a key line from the text after its "=" (see the header).
std::wstring ReadValue(std::wstring_view text) {
    text = Trim(text);
    if (!IsQuoted(text)) return std::wstring(text);
    const std::wstring_view inner = text.substr(1, text.size() - 2);
    return NeedsPlainQuotes(inner) ? std::wstring(inner) : Unescaped(inner);
}

} // namespace

bool IniDocument::Parse(std::wstring_view text, std::wstring* error) {
    m_lines.clear();
    m_crlf = false;
    if (!text.empty() && text.front() == 0xFEFF) text.remove_prefix(1);
    std::wstring owner;
    bool firstEnd = true;
    int number = 0;
    while (!text.empty()) {
        size_t end = text.find(L'\n');
        std::wstring_view raw = text.substr(0, end);
        text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + 1);
        if (!raw.empty() && raw.back() == L'\r') {
            raw.remove_suffix(1);
            if (firstEnd) m_crlf = true;
        }
        if (end != std::wstring_view::npos) firstEnd = false;
        ++number;
        std::wstring_view trimmed = Trim(raw);
        Line line{Kind::Blank, std::wstring(raw), {}, {}, {}};
        if (trimmed.empty()) {
            line.kind = Kind::Blank;
        } else if (trimmed.front() == L';' || trimmed.front() == L'#') {
            line.kind = Kind::Comment;
        } else if (trimmed.front() == L'[') {
            size_t close = trimmed.find(L']');
            std::wstring_view name, rest;
            if (close != std::wstring_view::npos) {
                name = Trim(trimmed.substr(1, close - 1));
                rest = Trim(trimmed.substr(close + 1));
            }
            if (name.empty() || (!rest.empty() && rest.front() != L';' && rest.front() != L'#')) {
                m_lines.clear();
                if (error)
                    *error = L"line " + std::to_wstring(number) + L": \"" + std::wstring(trimmed) +
                             L"\" is not a valid section header (expected \"[Name]\")";
                return false;
            }
            line.kind = Kind::Section;
            line.name = std::wstring(name);
            owner = line.name;
        } else {
            size_t equal = trimmed.find(L'=');
            std::wstring_view key;
            if (equal != std::wstring_view::npos) key = Trim(trimmed.substr(0, equal));
            if (key.empty()) {
                m_lines.clear();
                if (error)
                    *error = L"line " + std::to_wstring(number) + L": \"" + std::wstring(trimmed) +
                             L"\" is neither \"[Section]\", \"key=value\", a comment nor blank";
                return false;
            }
            line.kind = Kind::Key;
            line.name = std::wstring(key);
            line.value = ReadValue(trimmed.substr(equal + 1));
            line.owner = owner;
        }
        m_lines.push_back(std::move(line));
    }
    return true;
}

std::wstring IniDocument::Text() const {
    std::wstring out;
    const wchar_t* end = m_crlf ? L"\r\n" : L"\n";
    for (const Line& line : m_lines) {
        out += line.text;
        out += end;
    }
    return out;
}

const std::wstring* IniDocument::Find(std::wstring_view section, std::wstring_view key) const {
    for (const Line& line : m_lines)
        if (line.kind == Kind::Key && AsciiEqualNoCase(line.owner, section) && AsciiEqualNoCase(line.name, key))
            return &line.value;
    return nullptr;
}

bool IniDocument::HasSection(std::wstring_view section) const {
    for (const Line& line : m_lines) {
        if (section.empty() && line.kind == Kind::Key && line.owner.empty()) return true;
        if (line.kind == Kind::Section && AsciiEqualNoCase(line.name, section)) return true;
    }
    return false;
}

std::vector<std::pair<std::wstring, std::wstring>> IniDocument::Section(std::wstring_view section) const {
    std::vector<std::pair<std::wstring, std::wstring>> keys;
    for (const Line& line : m_lines) {
        if (line.kind != Kind::Key || !AsciiEqualNoCase(line.owner, section)) continue;
        bool seen = false;
        for (const auto& [name, value] : keys)
            if (AsciiEqualNoCase(name, line.name)) seen = true;
        if (!seen) keys.emplace_back(line.name, line.value);
    }
    return keys;
}

std::wstring IniDocument::KeyLine(std::wstring_view key, std::wstring_view value) {
    std::wstring text(key);
    text += L'=';
    if (NeedsEscapes(value)) {
        text += L'"' + Escaped(value) + L'"';
    } else if (NeedsPlainQuotes(value)) {
        text += L'"';
        text += value;
        text += L'"';
    } else {
        text += value;
    }
    return text;
}

void IniDocument::Set(std::wstring_view section, std::wstring_view key, std::wstring_view value) {
    for (Line& line : m_lines) {
        if (line.kind == Kind::Key && AsciiEqualNoCase(line.owner, section) && AsciiEqualNoCase(line.name, key)) {
            line.value = std::wstring(value);
            line.text = KeyLine(line.name, value);
            return;
        }
    }
    Line added{Kind::Key, KeyLine(key, value), std::wstring(key), std::wstring(value), std::wstring(section)};
    size_t at = m_lines.size();
    bool found = false;
    if (section.empty()) {
        // After the last key of the unnamed part, else before the first
        // section and the blank lines that precede it.
        size_t firstSection = m_lines.size();
        for (size_t i = 0; i < m_lines.size(); ++i) {
            if (m_lines[i].kind == Kind::Section) {
                firstSection = i;
                break;
            }
        }
        at = firstSection;
        while (at > 0 && m_lines[at - 1].kind == Kind::Blank) --at;
        for (size_t i = 0; i < firstSection; ++i)
            if (m_lines[i].kind == Kind::Key) at = i + 1;
        found = true;
    } else {
        for (size_t i = 0; i < m_lines.size() && !found; ++i) {
            if (m_lines[i].kind != Kind::Section || !AsciiEqualNoCase(m_lines[i].name, section)) continue;
            found = true;
            at = i + 1;
            for (size_t j = i + 1; j < m_lines.size() && m_lines[j].kind != Kind::Section; ++j)
                if (m_lines[j].kind == Kind::Key) at = j + 1;
        }
    }
    if (found) {
        m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(at), std::move(added));
        return;
    }
    if (!m_lines.empty() && m_lines.back().kind != Kind::Blank) m_lines.push_back(Line{Kind::Blank, {}, {}, {}, {}});
    std::wstring header = L"[" + std::wstring(section) + L"]";
    m_lines.push_back(Line{Kind::Section, header, std::wstring(section), {}, {}});
    m_lines.push_back(std::move(added));
}

bool IniDocument::Delete(std::wstring_view section, std::wstring_view key) {
    size_t before = m_lines.size();
    std::erase_if(m_lines, [&](const Line& line) {
        return line.kind == Kind::Key && AsciiEqualNoCase(line.owner, section) && AsciiEqualNoCase(line.name, key);
    });
    return m_lines.size() != before;
}

bool IniDocument::ValidSection(std::wstring_view name) {
    return Trim(name).size() == name.size() && !HasLineBreakOrNul(name) &&
           name.find_first_of(L"[]") == std::wstring_view::npos;
}

bool IniDocument::ValidKey(std::wstring_view name) {
    return !name.empty() && Trim(name).size() == name.size() && !HasLineBreakOrNul(name) &&
           name.find(L'=') == std::wstring_view::npos && name.front() != L'[' && name.front() != L';' &&
           name.front() != L'#';
}


} // namespace host
