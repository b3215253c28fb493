// A new file written under a work name in its target's folder and put in
// place only when complete, so that the target never holds half its
// content. Where the file system allows it the work file has no name at all
// (O_TMPFILE) until it is linked in; elsewhere it has a unique hidden name
// that is removed again when the work file is dropped without being placed.
//
// The folder is given as an open descriptor (borrowed for the object's
// life): the caller decides how it was reached, for instance without
// following links. Errors are errno values; the caller names the file.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "sdk/ScopedHandles.h"

namespace host {

class WorkFile final {
public:
    WorkFile() = default;
    WorkFile(const WorkFile&) = delete;
    WorkFile& operator=(const WorkFile&) = delete;
    // Removes a named work file that was not placed.
    ~WorkFile();

    // Creates the work file in `folder` with mode 0666 under the umask.
    // Returns 0 or the errno of the failure.
    int Create(int folder);
    int Fd() const { return m_fd.Get(); }
    // Writes all of `size` bytes at the file's end; 0 or an errno.
    int Write(const void* data, size_t size);
    // Flushes the content to the disk and closes the file's descriptor.
    int Finish();
    // Puts the finished file in place as `name` (one name, in the folder),
    // failing with EEXIST when `name` exists: nothing is ever replaced.
    int LinkAs(const std::string& name);
    // Puts the finished file in place as `name`, replacing in one step what
    // `name` held (a link named `name` is replaced, never followed).
    int ReplaceAs(const std::string& name);

private:
    // Gives a nameless work file a unique name in the folder.
    int NameIt();

    ScopedFD m_fd;
    int m_folder = -1;
    std::string m_name; // the work name; empty while the file has none
    bool m_placed = false;
};

// Whether a name (its bytes) is that of a named work file: ".work-" and
// sixteen hexadecimal digits. Listings of a destination leave such names out.
bool IsWorkFileName(std::string_view name);

// Makes every later work file a named one, as on a file system without
// O_TMPFILE, so that tests reach that way too; false goes back.
void UseNamedWorkFilesForTesting(bool named);

} // namespace host
