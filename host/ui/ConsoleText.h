// Text shaping for console output: terminal columns of wide text, removal of
// control characters, and shortening of a line to a number of columns.
#pragma once

#include <string>
#include <string_view>

namespace host {

// Columns a character takes on a terminal: 0 for combining marks and
// zero-width characters, 2 for East Asian wide and full-width characters
// and emoji, 1 otherwise. Independent of the process locale.
int CharColumns(wchar_t c);
int TextColumns(std::wstring_view text);

// The text with every control character (C0, DEL, C1) replaced by '?', so
// that a file name holding a line feed or an escape sequence can neither
// break the line structure nor drive the terminal.
std::wstring SanitizeLine(std::wstring_view text);

// The text cut to at most `columns` columns. Text that fits is returned
// whole; longer text keeps its start and its end with "..." between them,
// the end getting the larger share since the end of a path names the file.
// With fewer than 4 columns the text is simply cut.
std::wstring ShortenToColumns(std::wstring_view text, int columns);

} // namespace host
