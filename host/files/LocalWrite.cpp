#include "host/files/LocalWrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "host/base/WorkFile.h"
#include "host/text/ErrnoText.h"
#include "host/text/FileNameEncoding.h"

namespace host {

namespace {

// Content moves through a buffer of this size, so that a write of any
// length holds no more than this in memory.
constexpr size_t kChunk = 1 << 20;

LocalError Failed(int code, std::wstring_view what, std::wstring_view shown) {
    LocalError error;
    error.code = code;
    error.text = std::wstring(what) + L" " + std::wstring(shown) + L": " + ErrnoText(code);
    return error;
}

// Opens (and with `create` makes) `path` as a folder; the links in `path`
// itself are followed: it is where the caller chose to write.
ScopedFD OpenBase(const std::string& path, bool create) {
    ScopedFD fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.IsOpen() || errno != ENOENT || !create) return fd;
    // Made one part after the other, each missing part with 0777.
    for (size_t at = path.find('/', 1); ; at = path.find('/', at + 1)) {
        const std::string part = path.substr(0, at);
        if (!part.empty() && ::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) return ScopedFD();
        if (at == std::string::npos) break;
    }
    return ScopedFD(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

} // namespace

bool IsRelativeName(std::wstring_view name) {
    if (name.empty() || name.front() == L'/') return false;
    size_t start = 0;
    while (start <= name.size()) {
        const size_t end = std::min(name.find(L'/', start), name.size());
        const std::wstring_view part = name.substr(start, end - start);
        if (part.empty() || part == L"." || part == L"..") return false;
        for (wchar_t c : part)
            if (c == 0) return false;
        start = end + 1;
    }
    return true;
}

ScopedFD OpenParentFolder(const std::string& base, std::wstring_view name, bool create, std::string& leaf,
                          LocalError& error) {
    error = LocalError();
    if (!IsRelativeName(name)) {
        error.code = EINVAL;
        error.text = L"not a relative name: " + std::wstring(name);
        return ScopedFD();
    }
    ScopedFD folder = OpenBase(base, create);
    if (!folder.IsOpen()) {
        error = Failed(errno, L"cannot open the folder", FileNameToWide(base));
        return ScopedFD();
    }
    const size_t last = name.rfind(L'/');
    const std::wstring_view folders = last == std::wstring_view::npos ? std::wstring_view() : name.substr(0, last);
    size_t start = 0;
    while (start < folders.size()) {
        const size_t end = std::min(folders.find(L'/', start), folders.size());
        const std::string part = FileNameToBytes(folders.substr(start, end - start));
        // O_NOFOLLOW: a link standing for a folder of the name is refused
        // (ELOOP or ENOTDIR), so no write lands outside the base.
        int fd = ::openat(folder.Get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0 && errno == ENOENT && create) {
            if (::mkdirat(folder.Get(), part.c_str(), 0777) != 0 && errno != EEXIST) {
                error = Failed(errno, L"cannot make the folder", name.substr(0, end));
                return ScopedFD();
            }
            fd = ::openat(folder.Get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        }
        if (fd < 0) {
            error = Failed(errno, L"cannot open the folder", name.substr(0, end));
            return ScopedFD();
        }
        folder.Reset(fd);
        start = end + 1;
    }
    leaf = FileNameToBytes(last == std::wstring_view::npos ? name : name.substr(last + 1));
    return folder;
}

LocalContentReader ReaderOf(IDataStream* data, int64_t& size) {
    unsigned long end = 0;
    size = -1;
    if (SUCCEEDED(data->Seek(0, 2, &end))) size = static_cast<int64_t>(end);
    data->Seek(0, 0, nullptr);
    return [data](void* buffer, size_t capacity) -> int64_t {
        unsigned int read = 0;
        const unsigned int asked = static_cast<unsigned int>(std::min<size_t>(capacity, 1u << 30));
        if (FAILED(data->Read(buffer, asked, &read))) {
            errno = EIO;
            return -1;
        }
        return read;
    };
}

LocalError WriteFileSafely(const std::string& base, std::wstring_view name, const LocalContentReader& read,
                           int64_t size, const std::atomic<bool>* stop, const std::function<void(int64_t)>& written) {
    LocalError error;
    std::string leaf;
    ScopedFD folder = OpenParentFolder(base, name, true, leaf, error);
    if (error) return error;
    // A folder under the target's name would be replaced by nothing: the
    // rename fails anyway, but only after the whole content was sent.
    struct stat existing {};
    if (::fstatat(folder.Get(), leaf.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(existing.st_mode))
        return Failed(EISDIR, L"cannot write", name);

    WorkFile work;
    if (int code = work.Create(folder.Get())) return Failed(code, L"cannot make a work file for", name);
    std::vector<char> buffer(kChunk);
    int64_t total = 0;
    for (;;) {
        if (stop && stop->load()) return Failed(ECANCELED, L"stopped writing", name);
        const int64_t n = read(buffer.data(), buffer.size());
        if (n < 0) return Failed(errno ? errno : EIO, L"cannot read the content for", name);
        if (n == 0) break;
        if (size >= 0 && total + n > size) return Failed(EIO, L"more content than announced for", name);
        if (int code = work.Write(buffer.data(), static_cast<size_t>(n))) return Failed(code, L"cannot write", name);
        total += n;
        if (written) written(total);
    }
    if (size >= 0 && total != size) return Failed(EIO, L"the content ended early for", name);
    struct stat done {};
    if (::fstat(work.Fd(), &done) != 0 || done.st_size != total) return Failed(EIO, L"cannot verify", name);
    if (int code = work.Finish()) return Failed(code, L"cannot write", name);
    if (int code = work.ReplaceAs(leaf)) return Failed(code, L"cannot put in place", name);
    return error;
}

} // namespace host
