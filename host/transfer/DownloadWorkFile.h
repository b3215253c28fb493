// The work file of one download and the note beside it. For the local file
// "<folder>/<name>" the bytes arrive in "<folder>/.<name>.part"; the note
// "<folder>/.<name>.part-info" records the URL those bytes come from and the
// validator of their version, so that a later download of the same URL into
// the same file can resume them.
//
// The work file is opened without following links (a link, folder or any
// other non-regular file under the work name is refused) and locked
// (flock, exclusive, not waiting) for the object's life: two downloads into
// one local file never share a work file, and a download that does not get
// the lock changes nothing. While the lock is held the work name refers to
// the locked file (checked after locking), and only the holder renames or
// removes the work file and its note.
//
// Nothing under the local file's name changes before Commit, which puts the
// complete work file in its place in one rename (a link there is replaced,
// never followed). The object removes nothing by itself: the owner calls
// Commit, Discard, or lets it go to keep the bytes for a later resume.
// Errors are TransferErrors with the errno as code and a text that names
// the file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/transfer/FetchScheme.h"
#include "sdk/ScopedHandles.h"

namespace host {

class DownloadWorkFile final {
public:
    DownloadWorkFile() = default;
    DownloadWorkFile(const DownloadWorkFile&) = delete;
    DownloadWorkFile& operator=(const DownloadWorkFile&) = delete;

    // Opens the local file's folder (which must exist) and opens or creates
    // the work file in it (mode 0666 under the umask), locked.
    bool Open(const std::string& localPath, TransferError& error);

    int Fd() const { return m_work.Get(); }
    // Bytes in the work file; -1 when it cannot be read.
    int64_t Size() const;
    // True when a folder stands under the local file's name.
    bool LocalIsFolder() const;

    // The validator the note records, when the note exists, is whole and
    // names `url`.
    std::optional<std::string> NoteFor(const std::wstring& url) const;
    // Writes the note (url, validator) in one rename, on the disk before
    // it returns.
    bool WriteNote(const std::wstring& url, const std::string& validator, TransferError& error);
    // Empties the work file.
    bool Truncate(TransferError& error);

    // Flushes the work file, renames it over the local file, removes the
    // note and flushes the folder.
    bool Commit(TransferError& error);
    // Removes the work file and the note.
    void Discard();

    const std::wstring& LocalText() const { return m_localText; }

private:
    bool Fail(TransferError& error, int code, const std::wstring& text) const;
    bool OpenLocked(TransferError& error);

    ScopedFD m_folder;
    ScopedFD m_work;
    std::string m_name;     // the local file's name in its folder
    std::string m_workName; // ".<name>.part"
    std::string m_noteName; // ".<name>.part-info"
    std::wstring m_localText;
    std::wstring m_workText;
};

} // namespace host
