#include "host/IniDocument.h"

#include "host/KeyLookup.h"

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
            std::wstring_view value = Trim(trimmed.substr(equal + 1));
            if (IsQuoted(value)) value = value.substr(1, value.size() - 2);
            line.kind = Kind::Key;
            line.name = std::wstring(key);
            line.value = std::wstring(value);
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
    bool quote = !value.empty() && (IsBlank(value.front()) || IsBlank(value.back()) || IsQuoted(value));
    std::wstring text(key);
    text += L'=';
    if (quote) text += L'"';
    text += value;
    if (quote) text += L'"';
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

bool IniDocument::ValidValue(std::wstring_view value) { return !HasLineBreakOrNul(value); }

} // namespace host
