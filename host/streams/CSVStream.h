// "CSVStream": text collected for a CSV file (ICSVStream), seen as its UTF-8
// bytes (IDataStream, with the rules of every host data stream) and kept in
// a file (IFileArchive).
//
// WriteChars is given a count of two bytes per character (whatever the
// width of a character) and appends `bytes` / 2 characters, encoded as UTF-8,
// at the end of the text; an odd count's last byte is ignored. Characters
// that are not Unicode characters are written as U+FFFD. Save writes the
// whole text to the file; Load replaces the text with the file's bytes and
// goes back to the start, so that they can be read.
#pragma once

#include "sdk/Framework.h"

namespace host {

HRESULT CreateCSVStream(const IID* iid, void** out);

} // namespace host
