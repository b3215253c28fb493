#include "host/transfer/FileScheme.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "host/base/WorkFile.h"
#include "host/collections/KeyLookup.h"
#include "host/files/LocalWrite.h"

#include "host/text/FileNameEncoding.h"
#include "host/transfer/FileUrl.h"
#include "host/transfer/HttpScheme.h"
#include "host/transfer/SchemeSettings.h"
#include "host/text/ErrnoText.h"
#include "host/values/HostStrings.h"
#include "sdk/ScopedHandles.h"

namespace host {

namespace {

void Fail(FetchResult& result, HRESULT status, int code, std::wstring text) {
    result.error.status = status;
    result.error.code = code;
    result.error.text = std::move(text);
}

std::string ValidatorOf(const struct stat& info) {
    const int64_t ns = static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    return std::to_string(static_cast<int64_t>(info.st_size)) + "-" + std::to_string(ns);
}

// Copies up to `size` bytes of `in` at `at` to `out` at the same offset.
// Returns the bytes copied (0 at the source's end) or -1 with errno set and
// `writing` telling which side failed when it is known.
class ChunkCopier final {
public:
    ssize_t Copy(int in, int out, int64_t at, size_t size, bool& writing) {
        writing = false;
        while (m_kernel) {
            loff_t from = at, to = at;
            const ssize_t n = ::copy_file_range(in, &from, out, &to, size, 0);
            if (n >= 0) return n;
            if (errno == EINTR) continue;
            // Not supported between these files (another file system, an
            // old kernel): plain reads and writes from here on.
            if (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP || errno == ETXTBSY ||
                errno == EBADF) {
                m_kernel = false;
                break;
            }
            writing = errno == ENOSPC || errno == EDQUOT || errno == EFBIG;
            return -1;
        }
        if (m_buffer.empty()) m_buffer.resize(FileScheme::kChunk);
        ssize_t n;
        do n = ::pread(in, m_buffer.data(), std::min(size, m_buffer.size()), at);
        while (n < 0 && errno == EINTR);
        if (n <= 0) return n;
        writing = true;
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = ::pwrite(out, m_buffer.data() + done, static_cast<size_t>(n - done), at + done);
            if (w < 0 && errno == EINTR) continue;
            if (w < 0) return -1;
            done += w;
        }
        return n;
    }

private:
    bool m_kernel = true;
    std::vector<char> m_buffer;
};

} // namespace

FileScheme::FileScheme() : LocationListing(L"URLFile") {
    CreateHttpScheme(&InterfaceInfo<ILocationScheme>::Id(), reinterpret_cast<void**>(m_remote.Out()));
}

ILocationScheme* FileScheme::RemoteFor(std::wstring_view text) {
    const size_t separator = text.find(L"://");
    if (separator == std::wstring_view::npos || separator == 0) return nullptr;
    const std::wstring_view prefix = text.substr(0, separator);
    for (wchar_t c : prefix)
        if (!((c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z'))) return nullptr;
    if (AsciiEqualNoCase(prefix, L"file")) return nullptr;
    return m_remote.Get();
}

HRESULT FileScheme::put_Parameters(IParameters* parameters) {
    if (IPtr<IFileArchiveScheme> remote = QueryAs<IFileArchiveScheme>(m_remote.Get()); remote && parameters)
        remote->put_Parameters(parameters);
    std::wstring hostName = parameters ? TextSetting(parameters, L"HOSTNAME").value_or(L"") : std::wstring();
    std::lock_guard guard(m_lock);
    m_hostName = std::move(hostName);
    return S_OK;
}

HRESULT FileScheme::Advise(IUnknown* listener, int32_t on) {
    if (IPtr<IEventSource> remote = QueryAs<IEventSource>(m_remote.Get())) remote->Advise(listener, on);
    return m_listeners.Advise(listener, on);
}

FetchResult FileScheme::Fetch(const FetchRequest& request) {
    if (ILocationScheme* remote = RemoteFor(request.url)) return QueryAs<IFetchScheme>(remote)->Fetch(request);
    FetchResult result;
    std::wstring base;
    {
        std::lock_guard guard(m_lock);
        base = m_hostName;
    }
    std::string path;
    std::wstring why;
    if (!LocalPathOfName(request.url, base, path, why)) {
        Fail(result, E_FAIL, EINVAL, why);
        return result;
    }
    // O_NONBLOCK: a pipe under the name must not hold the open up.
    ScopedFD source(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return FetchOpened(source, FileNameToWide(path), request);
}

FetchResult FileScheme::FetchOpened(const ScopedFD& source, const std::wstring& shown, const FetchRequest& request) {
    FetchResult result;
    struct stat before {};
    if (!source.IsOpen()) {
        const int code = errno;
        Fail(result, E_FAIL, code,
             code == ENOENT ? L"no such file: " + shown : L"cannot open " + shown + L": " + ErrnoText(code));
        return result;
    }
    if (::fstat(source.Get(), &before) != 0 || !S_ISREG(before.st_mode)) {
        Fail(result, E_FAIL, EINVAL, L"not a regular file: " + shown);
        return result;
    }
    const int64_t total = before.st_size;
    result.validator = ValidatorOf(before);
    int64_t at = 0;
    if (request.offset > 0 && request.offset <= total && request.validator == result.validator) at = request.offset;
    // The work file holds exactly the bytes the copy goes on from.
    if (::ftruncate(request.fd, at) != 0) {
        Fail(result, E_FAIL, errno, L"cannot write the work file: " + ErrnoText(errno));
        return result;
    }
    if (request.versionKnown) request.versionKnown(result.validator);

    IUnknown* self = static_cast<IFileArchiveScheme*>(this);
    ProgressPace pace;
    ChunkCopier copier;
    while (at < total) {
        result.size = at;
        if (request.stop && request.stop->load()) {
            Fail(result, E_ABORT, 0, L"stopped");
            return result;
        }
        bool writing = false;
        const ssize_t n =
            copier.Copy(source.Get(), request.fd, at, static_cast<size_t>(std::min<int64_t>(total - at, kChunk)), writing);
        if (n < 0) {
            const int code = errno;
            Fail(result, E_FAIL, code,
                 (writing ? L"cannot write the work file: " : L"cannot read " + shown + L": ") + ErrnoText(code));
            return result;
        }
        if (n == 0) break; // the source shrank; found below
        at += n;
        if (pace.Due(at, false)) m_listeners.Report(self, at, total, request.link);
    }
    result.size = at;
    struct stat after {};
    if (at != total || ::fstat(source.Get(), &after) != 0 || ValidatorOf(after) != result.validator) {
        // Bytes of two versions may be mixed: none of them is worth resuming.
        result.validator.clear();
        Fail(result, E_FAIL, 0, L"the file " + shown + L" changed while it was copied");
        return result;
    }
    if (pace.Due(at, true)) m_listeners.Report(self, at, total, request.link);
    result.complete = true;
    return result;
}

namespace {

TransferError ErrorOf(const LocalError& local) {
    TransferError error;
    if (!local) return error;
    error.status = local.code == ECANCELED ? E_ABORT : local.code == EINVAL ? E_INVALIDARG : E_FAIL;
    error.code = local.code;
    error.text = local.text;
    return error;
}

TransferError Refused(const std::wstring& name) {
    TransferError error;
    error.status = E_INVALIDARG;
    error.code = EINVAL;
    error.text = L"not a relative name: " + name;
    return error;
}

bool IsFolderName(std::wstring_view folder) { return folder.empty() || IsRelativeName(folder); }

} // namespace

void FileScheme::SetLocation(std::wstring location) {
    if (IPtr<IFileNameCollection> remote = QueryAs<IFileNameCollection>(m_remote.Get()))
        remote->put_Folder(MakeString(location).Get());
    std::lock_guard guard(m_lock);
    m_hostName = std::move(location);
}

std::wstring FileScheme::Location() {
    std::lock_guard guard(m_lock);
    return m_hostName;
}

bool FileScheme::LocationPath(std::string& path, TransferError& error) {
    const std::wstring location = Location();
    std::wstring why;
    if (location.empty()) why = L"no location";
    else if (LocalPathOfName(location, {}, path, why)) return true;
    error.status = E_INVALIDARG;
    error.code = EINVAL;
    error.text = why;
    return false;
}

FetchResult FileScheme::FetchFile(const std::wstring& name, int fd, const std::atomic<bool>* stop) {
    if (ILocationScheme* remote = Remote()) return remote->FetchFile(name, fd, stop);
    FetchResult result;
    std::string base;
    if (!IsRelativeName(name)) {
        result.error = Refused(name);
        return result;
    }
    if (!LocationPath(base, result.error)) return result;
    // The source's folders are reached as the location's files are written:
    // without following links below the location.
    LocalError local;
    std::string leaf;
    ScopedFD folder = OpenParentFolder(base, name, false, leaf, local);
    if (local) {
        result.error = ErrorOf(local);
        return result;
    }
    FetchRequest request;
    request.fd = fd;
    request.stop = stop;
    ScopedFD source(::openat(folder.Get(), leaf.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    result = FetchOpened(source, name, request);
    return result;
}

TransferError FileScheme::PutFile(const std::wstring& name, const ContentReader& read, int64_t size,
                                  const std::atomic<bool>* stop) {
    if (ILocationScheme* remote = Remote()) return remote->PutFile(name, read, size, stop);
    TransferError error;
    std::string base;
    if (!IsRelativeName(name)) return Refused(name);
    if (!LocationPath(base, error)) return error;
    IUnknown* self = static_cast<IFileArchiveScheme*>(this);
    ProgressPace pace;
    const auto progress = [&](int64_t done) {
        if (pace.Due(done, done == size)) m_listeners.Report(self, done, size < 0 ? 0 : size, nullptr);
    };
    return ErrorOf(WriteFileSafely(base, name, read, size, stop, progress));
}

TransferError FileScheme::Rename(const std::wstring& from, const std::wstring& to) {
    if (ILocationScheme* remote = Remote()) return remote->Rename(from, to);
    TransferError error;
    std::string base;
    if (!IsRelativeName(from)) return Refused(from);
    if (!IsRelativeName(to)) return Refused(to);
    if (!LocationPath(base, error)) return error;
    LocalError local;
    std::string fromLeaf, toLeaf;
    ScopedFD fromFolder = OpenParentFolder(base, from, false, fromLeaf, local);
    if (local) return ErrorOf(local);
    ScopedFD toFolder = OpenParentFolder(base, to, true, toLeaf, local);
    if (local) return ErrorOf(local);
    struct stat info {};
    if (::fstatat(fromFolder.Get(), fromLeaf.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode)) {
        error.status = E_FAIL;
        error.code = EISDIR;
        error.text = L"not a file: " + from;
        return error;
    }
    if (::renameat(fromFolder.Get(), fromLeaf.c_str(), toFolder.Get(), toLeaf.c_str()) != 0) {
        error.status = E_FAIL;
        error.code = errno;
        error.text = L"cannot rename " + from + L" to " + to + L": " + ErrnoText(error.code);
        return error;
    }
    ::fsync(toFolder.Get());
    return error;
}

TransferError FileScheme::RemoveFile(const std::wstring& name) {
    if (ILocationScheme* remote = Remote()) return remote->RemoveFile(name);
    TransferError error;
    std::string base;
    if (!IsRelativeName(name)) return Refused(name);
    if (!LocationPath(base, error)) return error;
    LocalError local;
    std::string leaf;
    ScopedFD folder = OpenParentFolder(base, name, false, leaf, local);
    if (local.code == ENOENT) return error; // its folder is gone: so is the file
    if (local) return ErrorOf(local);
    // Flags 0: a folder under the name is refused (EISDIR), never removed.
    if (::unlinkat(folder.Get(), leaf.c_str(), 0) != 0 && errno != ENOENT) {
        error.status = E_FAIL;
        error.code = errno;
        error.text = L"cannot remove " + name + L": " + ErrnoText(error.code);
    }
    return error;
}

TransferError FileScheme::List(const std::wstring& folder, std::vector<LocationEntry>& entries) {
    if (ILocationScheme* remote = Remote()) return remote->List(folder, entries);
    entries.clear();
    TransferError error;
    std::string base;
    if (!IsFolderName(folder)) return Refused(folder);
    if (!LocationPath(base, error)) return error;
    ScopedFD fd;
    if (folder.empty()) {
        fd.Reset(::open(base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!fd.IsOpen() && errno != ENOENT) return ErrorOf(LocalError{errno, L"cannot open " + Location() + L": " + ErrnoText(errno)});
    } else {
        LocalError local;
        std::string leaf;
        ScopedFD parent = OpenParentFolder(base, folder, false, leaf, local);
        if (local && local.code != ENOENT) return ErrorOf(local);
        if (!local) {
            fd.Reset(::openat(parent.Get(), leaf.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            if (!fd.IsOpen() && errno != ENOENT) return ErrorOf(LocalError{errno, L"cannot open " + folder + L": " + ErrnoText(errno)});
        }
    }
    if (!fd.IsOpen()) return error; // no such folder: nothing in it
    const int dirFd = fd.Get();
    ScopedDIR dir(::fdopendir(fd.Release()));
    if (!dir) {
        ::close(dirFd);
        return ErrorOf(LocalError{errno, L"cannot read " + Location() + L": " + ErrnoText(errno)});
    }
    errno = 0;
    while (const dirent* e = ::readdir(dir.get())) {
        const std::string_view raw(e->d_name);
        if (raw == "." || raw == ".." || IsWorkFileName(raw) || IsCopyWorkFileName(raw.data(), raw.size())) continue;
        struct stat info {};
        if (::fstatat(::dirfd(dir.get()), e->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
        // A link is listed as the file it points to; a link to a folder,
        // a dangling one, devices, pipes and sockets are left out.
        if (S_ISLNK(info.st_mode) &&
            (::fstatat(::dirfd(dir.get()), e->d_name, &info, 0) != 0 || !S_ISREG(info.st_mode)))
            continue;
        if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) continue;
        LocationEntry entry;
        entry.name = FileNameToWide(raw);
        entry.folder = S_ISDIR(info.st_mode);
        entry.size = entry.folder ? -1 : static_cast<int64_t>(info.st_size);
        entry.modified = static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
        entries.push_back(std::move(entry));
        errno = 0;
    }
    if (errno != 0) return ErrorOf(LocalError{errno, L"cannot read " + Location() + L": " + ErrnoText(errno)});
    return error;
}

HRESULT CreateFileScheme(const IID* iid, void** out) { return CreateHostComponent<FileScheme>(iid, out); }

} // namespace host
