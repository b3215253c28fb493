// Unpacking a zip archive held as bytes in memory into a folder, safely.
//
// Entry names are file names as bytes, exactly as stored (a name that is
// not valid UTF-8 comes back byte for byte; the host reads it through
// FileNameEncoding). Before anything is written the archive is refused
// when an entry has an absolute name, an empty, "." or ".." part, when two
// entries are one file, when a file is also a folder another entry needs,
// or when an entry is a link or a special file; and the target is refused
// when a file exists already or a folder path passes through a link or a
// file. Then the folder and the folders the entries need are made (mode
// 0777 under the umask), walking down with O_NOFOLLOW, and each file is
// streamed in chunks to a work file that is linked in under its name only
// when complete and its CRC matched, never replacing anything. Files get
// the permission bits stored with them (masked by 0777), or 0666 under the
// umask when none are stored; folders keep the usual mode.
#pragma once

#include <string>
#include <string_view>

namespace host {

// Writes every entry of the archive `bytes` (empty for one without
// entries) under `folder` (file-name bytes; links in the folder's own path
// are the caller's and are followed). On failure `error` names the entry or
// file and the reason.
bool UnpackArchive(std::string_view bytes, std::string folder, std::string& error);

} // namespace host
