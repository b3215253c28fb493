// Packing a folder into a zip archive held as bytes in memory.
//
// Every regular file below the folder goes in, named by its path relative
// to the folder with "/" between folders (the name's bytes as they are),
// compressed with deflate, with its permissions and modification time
// (Unix external attributes); every sub-folder goes in as a folder entry
// ("name/"), so empty ones come back too. The folder is walked without
// following links; links and special files are left out.
// The archive is built in a libzip buffer source opened over the old bytes
// (it is the object's content, so it is in memory in any case), and each
// file is read in chunks while libzip writes the archive, by a source that
// opens it without following a link: no input file is held whole.
#pragma once

#include <string>

namespace host {

// Adds the files below `folder` (file-name bytes) to the archive `bytes`
// (empty for one without entries). On failure `bytes` is left as it was
// and `error` names the folder or file and the reason: any folder or file
// that cannot be read fails the whole call.
bool PackFolder(std::string& bytes, std::string folder, std::string& error);

} // namespace host
