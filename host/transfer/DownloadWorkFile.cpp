#include "host/transfer/DownloadWorkFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/text/FileNameEncoding.h"
#include "host/text/Utf8.h"
#include "host/text/ErrnoText.h"

namespace host {

namespace {

constexpr int kOpenAttempts = 8;

bool WriteAll(int fd, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

std::string NoteText(const std::wstring& url, const std::string& validator) {
    return "url " + ToUtf8(url) + "\nvalidator " + validator + "\nend\n";
}

} // namespace

bool DownloadWorkFile::Fail(TransferError& error, int code, const std::wstring& text) const {
    error.status = E_FAIL;
    error.code = code;
    error.text = text;
    return false;
}

bool DownloadWorkFile::Open(const std::string& localPath, TransferError& error) {
    m_localText = FileNameToWide(localPath);
    const size_t slash = localPath.rfind('/');
    const std::string folder =
        slash == std::string::npos ? std::string(".") : slash == 0 ? std::string("/") : localPath.substr(0, slash);
    m_name = slash == std::string::npos ? localPath : localPath.substr(slash + 1);
    if (m_name.empty() || m_name == "." || m_name == "..")
        return Fail(error, EINVAL, L"the local file " + m_localText + L" names no file");
    m_folder.Reset(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_folder.IsOpen()) {
        const int code = errno;
        const std::wstring shown = FileNameToWide(folder);
        if (code == ENOENT) return Fail(error, code, L"the folder " + shown + L" does not exist");
        if (code == ENOTDIR) return Fail(error, code, shown + L" is not a folder");
        return Fail(error, code, L"cannot open the folder " + shown + L": " + ErrnoText(code));
    }
    m_workName = "." + m_name + ".part";
    m_noteName = m_workName + "-info";
    m_workText = FileNameToWide(slash == std::string::npos ? m_workName : localPath.substr(0, slash + 1) + m_workName);
    return OpenLocked(error);
}

bool DownloadWorkFile::OpenLocked(TransferError& error) {
    // Another download may remove or replace the work file between our open
    // and our lock; the name is ours only when it still leads to the file
    // we locked.
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        // O_NONBLOCK: opening a pipe placed under the work name must not
        // wait for a writer before the type check refuses it.
        ScopedFD work(::openat(m_folder.Get(), m_workName.c_str(),
                               O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0666));
        struct stat opened {};
        if (!work.IsOpen()) {
            const int code = errno;
            if (code == ELOOP || code == EISDIR || code == ENXIO)
                return Fail(error, code, L"the work file " + m_workText + L" is not a regular file");
            return Fail(error, code, L"cannot open the work file " + m_workText + L": " + ErrnoText(code));
        }
        if (::fstat(work.Get(), &opened) != 0)
            return Fail(error, errno, L"cannot read the work file " + m_workText + L": " + ErrnoText(errno));
        if (!S_ISREG(opened.st_mode))
            return Fail(error, EINVAL, L"the work file " + m_workText + L" is not a regular file");
        if (::flock(work.Get(), LOCK_EX | LOCK_NB) != 0) {
            const int code = errno;
            if (code == EWOULDBLOCK)
                return Fail(error, code, L"another transfer is writing " + m_localText + L" already");
            return Fail(error, code, L"cannot lock the work file " + m_workText + L": " + ErrnoText(code));
        }
        struct stat named {};
        if (::fstatat(m_folder.Get(), m_workName.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
            named.st_dev == opened.st_dev && named.st_ino == opened.st_ino) {
            ::fcntl(work.Get(), F_SETFL, ::fcntl(work.Get(), F_GETFL) & ~O_NONBLOCK);
            m_work = std::move(work);
            return true;
        }
    }
    return Fail(error, EAGAIN, L"another transfer is writing " + m_localText + L" already");
}

int64_t DownloadWorkFile::Size() const {
    struct stat info {};
    return ::fstat(m_work.Get(), &info) == 0 ? static_cast<int64_t>(info.st_size) : -1;
}

bool DownloadWorkFile::LocalIsFolder() const {
    struct stat info {};
    return ::fstatat(m_folder.Get(), m_name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode);
}

std::optional<std::string> DownloadWorkFile::NoteFor(const std::wstring& url) const {
    ScopedFD note(::openat(m_folder.Get(), m_noteName.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    struct stat info {};
    if (!note.IsOpen() || ::fstat(note.Get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > 64 * 1024)
        return std::nullopt;
    std::string text(static_cast<size_t>(info.st_size), '\0');
    if (::pread(note.Get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) return std::nullopt;
    // A note is whole only with its last line; a torn one is no note.
    const std::string head = "url " + ToUtf8(url) + "\nvalidator ";
    if (text.compare(0, head.size(), head) != 0 || text.size() < head.size() + 5 ||
        text.compare(text.size() - 5, 5, "\nend\n") != 0)
        return std::nullopt;
    std::string validator = text.substr(head.size(), text.size() - 5 - head.size());
    if (validator.find('\n') != std::string::npos) return std::nullopt;
    return validator;
}

bool DownloadWorkFile::WriteNote(const std::wstring& url, const std::string& validator, TransferError& error) {
    // Written whole under a name of its own, then renamed: a crash leaves
    // the old note or the new one, never half of one.
    const std::string fresh = m_noteName + ".new";
    ::unlinkat(m_folder.Get(), fresh.c_str(), 0);
    ScopedFD note(::openat(m_folder.Get(), fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    const std::wstring shown = m_workText + L"-info";
    if (!note.IsOpen() || !WriteAll(note.Get(), NoteText(url, validator)) || ::fsync(note.Get()) != 0 ||
        !note.Close()) {
        const int code = errno;
        ::unlinkat(m_folder.Get(), fresh.c_str(), 0);
        return Fail(error, code, L"cannot write the note " + shown + L": " + ErrnoText(code));
    }
    if (::renameat(m_folder.Get(), fresh.c_str(), m_folder.Get(), m_noteName.c_str()) != 0) {
        const int code = errno;
        ::unlinkat(m_folder.Get(), fresh.c_str(), 0);
        return Fail(error, code, L"cannot write the note " + shown + L": " + ErrnoText(code));
    }
    return true;
}

bool DownloadWorkFile::Truncate(TransferError& error) {
    if (::ftruncate(m_work.Get(), 0) == 0) return true;
    return Fail(error, errno, L"cannot empty the work file " + m_workText + L": " + ErrnoText(errno));
}

bool DownloadWorkFile::Commit(TransferError& error) {
    if (::fsync(m_work.Get()) != 0)
        return Fail(error, errno, L"cannot write the work file " + m_workText + L": " + ErrnoText(errno));
    // renameat replaces a link under the name itself and refuses a folder.
    if (::renameat(m_folder.Get(), m_workName.c_str(), m_folder.Get(), m_name.c_str()) != 0) {
        const int code = errno;
        if (code == EISDIR || code == ENOTEMPTY || code == EEXIST)
            return Fail(error, code, m_localText + L" is a folder");
        return Fail(error, code, L"cannot put " + m_localText + L" in place: " + ErrnoText(code));
    }
    ::unlinkat(m_folder.Get(), m_noteName.c_str(), 0);
    // The new name lasts a crash as well (best effort: the file is in place).
    ::fsync(m_folder.Get());
    return true;
}

void DownloadWorkFile::Discard() {
    if (!m_work.IsOpen()) return;
    ::unlinkat(m_folder.Get(), m_workName.c_str(), 0);
    ::unlinkat(m_folder.Get(), m_noteName.c_str(), 0);
}

} // namespace host
