#include "components/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/Helpers.h"

namespace {

// Owns a file descriptor.
class FileDescriptor final {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (m_fd >= 0) ::close(m_fd);
    }
    int Get() const { return m_fd; }
    bool IsOpen() const { return m_fd >= 0; }

private:
    int m_fd;
};

// The chunk of one copy step: large enough to keep system calls few, small
// enough that memory stays bounded whatever the file's size.
constexpr size_t kCopyChunk = 1u << 20;

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// Copies what is left of `in` to `out` through a fixed buffer; adds the
// bytes written to `written`.
bool CopyThroughBuffer(int in, int out, uint64_t& written) {
    std::vector<char> buffer(kCopyChunk);
    for (;;) {
        const ssize_t n = ::read(in, buffer.data(), buffer.size());
        if (n == 0) return true;
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (!WriteAll(out, buffer.data(), static_cast<size_t>(n))) return false;
        written += static_cast<uint64_t>(n);
    }
}

// Copies all of `in` to `out`, in the kernel where it can, else through a
// buffer. Returns false on a read or write error.
bool CopyContent(int in, int out, uint64_t& written) {
    for (;;) {
        const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, kCopyChunk * 64, 0);
        if (n > 0) {
            written += static_cast<uint64_t>(n);
            continue;
        }
        if (n == 0) return true;
        if (errno == EINTR) continue;
        // Not supported between these files (another file system, a pipe,
        // an old kernel): go on with plain reads and writes from where the
        // kernel copy stopped.
        if (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP ||
            errno == ETXTBSY || errno == EBADF)
            return CopyThroughBuffer(in, out, written);
        return false;
    }
}

} // namespace

std::unique_ptr<char[]> OSPath(tagREFString path) { return std::unique_ptr<char[]>(_IS2A(path, nullptr)); }

HRESULT OSCopyFile(CREFString source, CREFString target, short overwrite) {
    const std::unique_ptr<char[]> from = OSPath(source);
    const std::unique_ptr<char[]> to = OSPath(target);

    FileDescriptor in(::open(from.get(), O_RDONLY | O_CLOEXEC));
    if (!in.IsOpen()) return E_FAIL;
    struct stat sourceStatus {};
    if (::fstat(in.Get(), &sourceStatus) != 0 || S_ISDIR(sourceStatus.st_mode)) return E_FAIL;
    if (!overwrite) {
        FileDescriptor existing(::open(to.get(), O_RDONLY | O_CLOEXEC));
        if (existing.IsOpen()) return E_FAIL;
    }
    // Created as fopen "wb" would: truncated, mode 0666 less the umask.
    FileDescriptor out(::open(to.get(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!out.IsOpen()) return E_FAIL;

    uint64_t written = 0;
    if (!CopyContent(in.Get(), out.Get(), written)) return E_FAIL;
    // An empty source: the empty target stays, and the copy counts as failed
    // before the permissions are given.
    if (written == 0) return E_FAIL;

    // The permissions of the file just read (its status from the open
    // descriptor, so no second path lookup).
    ::fchmod(out.Get(), sourceStatus.st_mode & 07777);
    return S_OK;
}

HRESULT OSCreateFolder(CREFString path) {
    if (path.m_Length <= 0) return E_FAIL;
    const std::unique_ptr<char[]> narrow = OSPath(path);
    std::string text(narrow.get());
    ::umask(0);
    // Each missing parent first, so that a new destination may be nested.
    for (size_t slash = text.find('/', 1); slash != std::string::npos; slash = text.find('/', slash + 1)) {
        const std::string parent = text.substr(0, slash);
        if (::mkdir(parent.c_str(), 0777) != 0 && errno != EEXIST) break;
    }
    if (::mkdir(text.c_str(), 0777) == 0 || errno == EEXIST) {
        struct stat status {};
        if (::stat(text.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return S_OK;
    }
    return E_FAIL;
}

HRESULT OSVerify(CREFString path) {
    if (path.m_Length <= 0) return E_FAIL;
    const std::unique_ptr<char[]> narrow = OSPath(path);
    if (DIR* folder = ::opendir(narrow.get())) {
        ::closedir(folder);
        return 1;
    }
    if (FILE* file = std::fopen(narrow.get(), "rb")) {
        std::fclose(file);
        return 0;
    }
    return E_FAIL;
}
