// The folder listings remote locations answer with, read into entries:
// a WebDAV PROPFIND multistatus, an ftp MLSD listing, and the "ls -l" lines
// of an ftp LIST or an sftp folder read. Also the names of upload work files,
// which listings leave out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/transfer/LocationScheme.h"

namespace host {

// The entries of the PROPFIND answer `xml` directly inside the folder whose
// decoded path is `folderPath` (the folder itself left out). False when the
// answer is not a multistatus document.
bool ReadDavListing(std::string_view xml, std::string_view folderPath, std::vector<LocationEntry>& entries);

// MLSD lines: "fact=value;...; name"; the folder itself and its parent left out.
std::vector<LocationEntry> ReadMlsdListing(std::string_view text);

// "ls -l" lines; "total" lines, "." and ".." left out; a link counts as a
// file of unknown size.
std::vector<LocationEntry> ReadLongListing(std::string_view text);

// The work name an upload of `file` uses in the same folder:
// ".FILE.upload-" and 12 hexadecimal digits.
std::string UploadWorkName(std::string_view file);
bool IsUploadWorkName(std::string_view name);

// A path with its %XX escapes decoded (malformed escapes are kept as they
// are).
std::string PercentDecode(std::string_view text);

} // namespace host
