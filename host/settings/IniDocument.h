// The text form of the settings registry: "[Section]" lines, "key=value"
// lines, comment lines starting with ";" or "#", and blank lines. The
// document keeps every line it read, so that writing it back changes only
// the lines of the keys that were set or deleted.
//
// Rules of the form:
// - section and key names are matched with ASCII case folding;
// - blanks around names and values are not part of them; a value whose own
//   text needs leading or trailing blanks (or that starts and ends with a
//   double quote) is written between double quotes, and one pair of
//   enclosing quotes is removed when read;
// - every value is kept exactly. One that the line cannot hold as it is (a
//   line feed, a carriage return, a NUL, or a code unit that is not a Unicode
//   character and so has no UTF-8 form) is written escaped between double
//   quotes: \\ \" \n \r \t, \u{hex} for any other character below U+0020,
//   U+007F to U+009F and code units that are not characters, and \u{20} for a
//   space at either end, as in
//       Note="\u{20}two\nlines\r"
//   The escaped text never starts or ends with a blank nor starts with a
//   quote, which is how a reader tells it from the quoting above (all that
//   earlier versions wrote): quotes around text that starts or ends with a
//   blank, or around quoted text, hold the value as it is; other quotes hold
//   escaped text, in which a backslash that starts none of these escapes
//   stands for itself ("C:\dir" reads as C:\dir);
// - keys before the first section belong to the section named "";
// - a section may appear more than once: its keys are read from every
//   occurrence in file order, and the first of two equal keys wins;
// - there are no end-of-line comments: "a = x ; y" has the value "x ; y".
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

class IniDocument final {
public:
    // Replaces the document with the parsed text. False, with the document
    // left empty and `error` naming the line, when a line is neither a
    // section, a key, a comment nor blank.
    bool Parse(std::wstring_view text, std::wstring* error);
    // The text of the document; line ends as in the parsed text ("\n" for
    // a new document), always ending with a line end when not empty.
    std::wstring Text() const;

    // The value of the first matching key; null when there is none.
    const std::wstring* Find(std::wstring_view section, std::wstring_view key) const;
    bool HasSection(std::wstring_view section) const;
    // Keys and values of a section in file order, each key once.
    std::vector<std::pair<std::wstring, std::wstring>> Section(std::wstring_view section) const;

    // Changes the first matching key in place, or adds the key at the end of
    // the section's first occurrence, or a new section at the end of the
    // document. The names must be valid (see below); any value is.
    void Set(std::wstring_view section, std::wstring_view key, std::wstring_view value);
    // Removes every matching key line; false when there was none. Section
    // lines and comments are kept.
    bool Delete(std::wstring_view section, std::wstring_view key);

    // The names that can be stored so that they read back the same.
    static bool ValidSection(std::wstring_view name);
    static bool ValidKey(std::wstring_view name);

private:
    enum class Kind { Blank, Comment, Section, Key };
    struct Line {
        Kind kind;
        std::wstring text;  // the line as it is written
        std::wstring name;  // section name or key name
        std::wstring value; // key value, unquoted and unescaped
        std::wstring owner; // the section a key line belongs to
    };
    static std::wstring KeyLine(std::wstring_view key, std::wstring_view value);

    std::vector<Line> m_lines;
    bool m_crlf = false;
};

} // namespace host
