// Writing a file under a local folder from a content reader, safely, and
// reaching the folders of relative names without following links.
//
// A relative name is a path under a folder with "/" between its parts,
// never empty, absolute, or holding an empty, "." or ".." part.
//
// WriteFileSafely puts the content in a work file in the target's own
// folder (host/base/WorkFile.h), flushes it to the disk, checks its size and
// only then renames it over the target, so the target holds its old content
// or all of the new one, whatever happens. Below the given base folder no
// symbolic link is followed: a link standing for a folder of the name fails
// the write, and a link standing under the target's name is replaced, never
// written through. Missing folders (the base included) are made with mode
// 0777 under the umask. A failed write leaves no work file behind.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "sdk/Framework.h"
#include "sdk/ScopedHandles.h"

namespace host {

// Why a local operation failed: an errno (0 on success) and a text for
// people that names the file.
struct LocalError {
    int code = 0;
    std::wstring text;
    explicit operator bool() const { return code != 0; }
};

// Whether `name` is a relative name as above.
bool IsRelativeName(std::wstring_view name);

// Opens the folder that holds the relative name `name` under `base` (a
// local path in file-name bytes), following no link below `base`; `create`
// makes the missing ones. `leaf` receives the name's last part (bytes).
ScopedFD OpenParentFolder(const std::string& base, std::wstring_view name, bool create, std::string& leaf,
                          LocalError& error);

// Gives the next bytes of the content into `buffer` (at most `capacity`):
// the count, 0 at the end, -1 on a failure with errno set.
using LocalContentReader = std::function<int64_t(void* buffer, size_t capacity)>;

// A reader of the whole content of `data` from its start, by Read; `size`
// receives the content's length (-1 when the stream cannot tell it). The
// stream is borrowed: it must outlive the reader.
LocalContentReader ReaderOf(IDataStream* data, int64_t& size);

// Writes `size` bytes from `read` (size < 0: whatever it gives up to its
// end) to `name` under `base`. Content that ends before `size` or runs past
// it fails the write (EIO). A set `stop` ends it with ECANCELED. `written`,
// when given, is told the running count after each chunk.
LocalError WriteFileSafely(const std::string& base, std::wstring_view name, const LocalContentReader& read,
                           int64_t size, const std::atomic<bool>* stop = nullptr,
                           const std::function<void(int64_t)>& written = {});

} // namespace host
