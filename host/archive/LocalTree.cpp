#include "host/archive/LocalTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "host/archive/Sha256.h"
#include "host/text/FileNameEncoding.h"

namespace host::fas {

namespace {

constexpr size_t kHashChunk = 1 << 20;

int OpenFolderAt(int folder, const std::string& name) {
    return ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

int ListFolder(int folder, const std::wstring& prefix,
               const std::function<bool(const std::wstring&, bool folder)>& skip, const std::atomic<bool>* stop,
               LocalListing& out, std::wstring& failed) {
    const int copy = ::dup(folder);
    if (copy < 0) return errno;
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::fdopendir(copy), &::closedir);
    if (!dir) {
        const int code = errno;
        ::close(copy);
        failed = prefix;
        return code;
    }
    std::vector<std::string> folders;
    errno = 0;
    while (dirent* entry = ::readdir(dir.get())) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        struct stat info {};
        if (::fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) continue; // gone meanwhile
        const std::wstring relative = prefix + FileNameToWide(name);
        if (S_ISDIR(info.st_mode)) {
            if (!skip(relative, true)) folders.push_back(name);
        } else if (S_ISREG(info.st_mode) && !skip(relative, false)) {
            out[relative] = LocalFile{info.st_size, ModifiedNanoseconds(info), info.st_mode & 07777u};
        }
        errno = 0;
    }
    if (errno) {
        failed = prefix;
        return errno;
    }
    for (const std::string& name : folders) {
        if (stop && stop->load()) return ECANCELED;
        ScopedFD sub(OpenFolderAt(folder, name));
        const std::wstring relative = prefix + FileNameToWide(name);
        if (!sub.IsOpen()) {
            if (errno == ENOENT) continue;
            failed = relative;
            return errno;
        }
        if (int error = ListFolder(sub.Get(), relative + L"/", skip, stop, out, failed)) return error;
    }
    return 0;
}

} // namespace

int64_t ModifiedNanoseconds(const struct stat& info) {
    return static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
}

int OpenRoot(const std::string& path, ScopedFD& root) {
    root.Reset(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return root.IsOpen() ? 0 : errno;
}

int ListLocal(int root, const std::function<bool(const std::wstring&, bool folder)>& skip,
              const std::atomic<bool>* stop, LocalListing& out, std::wstring& failed) {
    return ListFolder(root, L"", skip, stop, out, failed);
}

int OpenParent(int root, const std::wstring& name, bool create, ScopedFD& parent, std::string& leaf) {
    const std::string bytes = FileNameToBytes(name);
    ScopedFD current(::dup(root));
    if (!current.IsOpen()) return errno;
    size_t start = 0;
    while (true) {
        const size_t slash = bytes.find('/', start);
        if (slash == std::string::npos) {
            leaf = bytes.substr(start);
            parent = std::move(current);
            return 0;
        }
        const std::string part = bytes.substr(start, slash - start);
        ScopedFD next(OpenFolderAt(current.Get(), part));
        if (!next.IsOpen() && errno == ENOENT && create) {
            if (::mkdirat(current.Get(), part.c_str(), 0777) != 0 && errno != EEXIST) return errno;
            next.Reset(OpenFolderAt(current.Get(), part));
        }
        if (!next.IsOpen()) return errno == ELOOP ? ENOTDIR : errno;
        current = std::move(next);
        start = slash + 1;
    }
}

int OpenFile(int root, const std::wstring& name, ScopedFD& file) {
    ScopedFD parent;
    std::string leaf;
    if (int error = OpenParent(root, name, false, parent, leaf)) return error;
    file.Reset(::openat(parent.Get(), leaf.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen()) return errno;
    struct stat info {};
    if (::fstat(file.Get(), &info) != 0) return errno;
    if (!S_ISREG(info.st_mode)) return EINVAL;
    return 0;
}

int HashFile(int fd, const std::atomic<bool>* stop, std::string& sha256, int64_t& size) {
    Sha256 digest;
    std::vector<char> buffer(kHashChunk);
    size = 0;
    while (true) {
        if (stop && stop->load()) return ECANCELED;
        const ssize_t n = ::pread(fd, buffer.data(), buffer.size(), size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (n == 0) break;
        digest.Add(buffer.data(), static_cast<size_t>(n));
        size += n;
    }
    sha256 = digest.Hex();
    return 0;
}

} // namespace host::fas
