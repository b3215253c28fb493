// The components list of a release: a text file of comma-separated lines,
// one per module and companion file, read through the host's
// "StringCollection". No header line is recognised; a first line is a line
// like any other.
//
// Of each line the first field (up to the first ",") names a module, and the
// second field (up to the next ",") a further file that goes with it:
// - the first field loses its leading white space, control characters and
//   the characters 0xEF and 0xFE (what is left of a byte-order mark read as
//   single bytes), never its end; a line with nothing left is skipped;
// - a module equal (case matters) to the one of the line accepted before is
//   not listed again: only consecutive repeats merge, so a list grouped by
//   module gives each module once, and a,x b,y a,z gives a, b, a;
// - a non-empty second field is listed for every accepted line, repeats
//   included.
#pragma once

#include <string>
#include <vector>

#include "sdk/Framework.h"

struct ComponentLists {
    std::vector<std::wstring> modules;
    std::vector<std::wstring> extraFiles;
};

// The two lists of the lines of a components list.
ComponentLists ParseComponentLines(const std::vector<std::wstring>& lines);

// The lines of the text file at `path`, through a host "StringCollection"
// opened as a file archive. 0x80004005 (and no lines) when the host has no
// such collection or the file cannot be loaded.
HRESULT ReadComponentLines(IString* path, std::vector<std::wstring>* lines);
