// The words of a command line, split as a POSIX shell splits words but with
// nothing expanded and nothing run: the words go straight to posix_spawn.
//
// - Blanks (space, tab, line feed) outside quotes separate words.
// - Single quotes keep everything up to the next single quote literally.
// - Double quotes keep everything up to the next unescaped double quote; in
//   them a backslash escapes only ", \, $, ` and a line feed; before any
//   other character it stays a backslash.
// - Outside quotes a backslash keeps the next character literally.
// - A backslash before a line feed, inside double quotes or outside quotes,
//   joins the lines: both characters go.
// - Quotes may make up part of a word (a"b c"d is one word); an empty pair
//   ('' or "") is an empty word of its own.
// - Nothing else is special: $, `, ;, |, &, <, >, *, ~ and # are characters
//   of a word like any other, since no shell sees the line.
// An unterminated quote or a backslash at the very end is an error.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// The words of `line`; nothing, with the reason in `*error` when it is
// given, when the line cannot be split.
std::optional<std::vector<std::wstring>> SplitCommandWords(std::wstring_view line, std::wstring* error = nullptr);

} // namespace host
