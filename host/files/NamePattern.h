// Name patterns of folder listings: '*' matches any run of characters
// (including none), '?' matches exactly one character, every other
// character matches itself exactly (case counts, as file names do on this
// system). A leading dot is not special: "*" matches ".profile" as well.
#pragma once

#include <string_view>

namespace host {

// True when the whole of `name` matches `pattern`.
bool MatchNamePattern(std::wstring_view pattern, std::wstring_view name);

// True when `name` matches one of the patterns of a list separated by ';'
// ("*.jpg;*.png"). Blanks around each pattern are ignored; an empty list
// matches nothing.
bool MatchNamePatternList(std::wstring_view patterns, std::wstring_view name);

} // namespace host
