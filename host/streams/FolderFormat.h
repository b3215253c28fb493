// The text form of a folder stream, as saved to files and given by the
// stream's byte face. A document reads, for example:
//
//     FolderStream 1
//     int "Count" 42
//     double "Ratio" 0.25
//     string "Title" "Two\nlines, \"quoted\""
//     empty "Nothing"
//     raw "Flags" 4 06000000
//     folder "Parameters" {
//       int "SrcPort" 21
//     }
//     object "Descriptor" "ComponentName" {
//       string "Label" "what the object saved of itself"
//     }
//
// - The first line is "FolderStream 1" (the format's version).
// - One entry per line: its type, its name, then its value. A folder or an
//   object (with its component name) opens with "{" and ends at a line
//   holding only "}"; its entries are the lines between. Indentation (two
//   spaces per level when written) is only for the reader.
// - Blank lines, and lines whose first character after any indentation is
//   "#", are ignored.
// - Names and texts are in double quotes, in UTF-8. Escapes: \\ \" \n \r \t,
//   and \u{hex} for any other character below U+0020, U+007F to U+009F, and
//   values that are not Unicode characters (so any text reads back exactly).
// - int: a 32-bit signed decimal. double: the shortest decimal that reads
//   back to the same value, or inf, -inf, nan.
// - raw: the byte count, then two hexadecimal digits per byte (omitted when
//   the block is empty).
// - Names are not empty and are unique within their folder, ASCII letters
//   folded.
// - Folders and objects nest at most kMaxStreamNesting levels below the top
//   folder of the tree (host/StreamNesting.h), counting the levels above the
//   folder the text is read into.
// Anything else is malformed: reading stops with a message naming the line.
#pragma once

#include <string>
#include <string_view>

#include "host/streams/FolderTree.h"

namespace host {

std::string SerialiseFolder(const FolderNode& folder);

// Reads a document into `folder` (which should be empty; its depth is where
// the document's levels start). False with a message ("line N: ...") when the
// text is malformed. Takes time in proportion to the length of the text.
bool ParseFolder(std::string_view text, FolderNode& folder, std::string& error);

} // namespace host
