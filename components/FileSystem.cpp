#include "components/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "sdk/ScopedHandles.h"
#include "core/Helpers.h"

namespace {

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
// buffer. Returns false (errno set) on a read or write error.
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

HRESULT Fail(OSError& error, int code) {
    error.code = code != 0 ? code : EIO;
    return E_FAIL;
}
HRESULT Fail(OSError& error, const char* reason) {
    error.reason = reason;
    return E_FAIL;
}

// A fresh work-file tag: random, so that concurrent runs, and a run and the
// leftovers of a killed one, never pick the same name. One counter for the
// process, shared by the threads that copy.
std::string WorkFileName() {
    static constexpr char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    static std::atomic<uint64_t> state{[] {
        uint64_t seed = 0;
        if (::getrandom(&seed, sizeof seed, GRND_NONBLOCK) != sizeof seed)
            seed = static_cast<uint64_t>(::getpid()) * 0x9E3779B97F4A7C15ull ^ reinterpret_cast<uintptr_t>(&seed);
        return seed;
    }()};
    // splitmix64: a new, well mixed value from a counter.
    uint64_t z = state.fetch_add(0x9E3779B97F4A7C15ull, std::memory_order_relaxed) + 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    std::string name(kCopyWorkFilePrefix);
    for (int i = 0; i < kCopyWorkFileTagLength; ++i, z /= 36) name += kDigits[z % 36];
    return name;
}

std::atomic<bool> g_unnamedWorkFiles{true};

// Whether work files may start unnamed: they can be given a name later
// through the /proc/self/fd link of their descriptor, which needs no
// privilege.
bool UnnamedWorkFiles() {
    static const bool canName = ::access("/proc/self/fd", X_OK) == 0;
    return canName && g_unnamedWorkFiles.load(std::memory_order_relaxed);
}

// The work file of one copy, made in the target's folder, never through a
// link, readable by its owner only until it is complete.
//
// Where the file system allows, it has no name at all while it is written
// (O_TMPFILE): a killed run leaves nothing behind, and a new target costs
// the folder one entry, as a plain create does. Committing links it under
// the target's name, or, when a target is there to be replaced, under a
// work name that is then renamed over the target. Elsewhere it is created
// under a work name from the start. A named work file is locked for its
// whole life, so that a clean-up by another run knows it is in use, and is
// removed again unless it was renamed over its target.
class WorkFile final {
public:
    explicit WorkFile(int folder) : m_folder(folder) {}
    WorkFile(const WorkFile&) = delete;
    WorkFile& operator=(const WorkFile&) = delete;
    ~WorkFile() {
        if (!m_name.empty() && !m_committed) ::unlinkat(m_folder, m_name.c_str(), 0);
    }

    // False (errno set) when no work file can be made in the folder.
    bool Create() {
        if (UnnamedWorkFiles()) {
            m_fd.Reset(::openat(m_folder, ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, 0600));
            if (m_fd.IsOpen()) return true;
            // Not supported by this file system (or kernel): a named one.
            if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) return false;
        }
        return CreateNamed();
    }
    int Get() const { return m_fd.Get(); }

    // Puts the work file in place of `name`; without `overwrite` only when
    // there is nothing of that name. False (errno set) on failure.
    bool Commit(const char* name, bool overwrite) {
        if (m_name.empty()) {
            if (LinkAs(name)) return m_committed = true;
            if (errno != EEXIST || !overwrite || !NameUnnamed()) return false;
        }
        int result;
        if (overwrite) {
            result = ::renameat(m_folder, m_name.c_str(), m_folder, name);
        } else {
            result = ::renameat2(m_folder, m_name.c_str(), m_folder, name, RENAME_NOREPLACE);
            if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
                // No exclusive rename on this file system: a hard link fails
                // as well when the name is taken.
                result = ::linkat(m_folder, m_name.c_str(), m_folder, name, 0);
                if (result == 0) ::unlinkat(m_folder, m_name.c_str(), 0);
            }
        }
        m_committed = result == 0;
        return m_committed;
    }

private:
    bool CreateNamed() {
        for (int attempt = 0; attempt < 16; ++attempt) {
            std::string name = WorkFileName();
            ScopedFD fd(::openat(m_folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                       0600));
            if (!fd.IsOpen()) {
                if (errno == EEXIST) continue;
                return false;
            }
            // Held by a clean-up that found it the instant it was made: leave
            // it to that clean-up and take another name. Where locks are not
            // supported the file goes unlocked, and no clean-up removes it.
            if (::flock(fd.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) continue;
            m_fd = std::move(fd);
            m_name = std::move(name);
            return true;
        }
        errno = EEXIST;
        return false;
    }

    // Gives the unnamed file the name `name` in the folder; fails with
    // EEXIST when the name is taken (a link there is not followed).
    bool LinkAs(const char* name) {
        // Straight from the descriptor where the kernel lets this process
        // (it saves a walk through /proc), else through its /proc link.
        static std::atomic<bool> fromDescriptor{true};
        if (fromDescriptor.load(std::memory_order_relaxed)) {
            if (::linkat(m_fd.Get(), "", m_folder, name, AT_EMPTY_PATH) == 0) return true;
            if (errno != ENOENT && errno != EPERM) return false;
        }
        char self[32];
        std::snprintf(self, sizeof self, "/proc/self/fd/%d", m_fd.Get());
        if (::linkat(AT_FDCWD, self, m_folder, name, AT_SYMLINK_FOLLOW) != 0) return false;
        fromDescriptor.store(false, std::memory_order_relaxed);
        return true;
    }

    // Gives the unnamed file a work name, locked first so that no clean-up
    // takes it for a killed run's.
    bool NameUnnamed() {
        ::flock(m_fd.Get(), LOCK_EX | LOCK_NB);
        for (int attempt = 0; attempt < 16; ++attempt) {
            std::string name = WorkFileName();
            if (LinkAs(name.c_str())) {
                m_name = std::move(name);
                return true;
            }
            if (errno != EEXIST) return false;
        }
        errno = EEXIST;
        return false;
    }

    int m_folder;
    std::string m_name; // empty while the file has no name
    ScopedFD m_fd;
    bool m_committed = false;
};

// The process's umask, read without changing it; 022 when it cannot be
// read.
mode_t CurrentUmask() {
    if (ScopedFILE status{std::fopen("/proc/self/status", "re")}) {
        char line[256];
        unsigned mask = 022;
        while (std::fgets(line, sizeof line, status.get()))
            if (std::sscanf(line, "Umask: %o", &mask) == 1) break;
        return static_cast<mode_t>(mask);
    }
    return 022;
}

// The permission bits the copy gets: the source's, less set-user and
// set-group bits for an owner or group the copy does not have (a mirror run
// by root must not turn a user's program into one that runs as root).
mode_t CopiedMode(const struct stat& source) {
    mode_t mode = source.st_mode & 07777;
    if ((mode & S_ISUID) && source.st_uid != ::geteuid()) mode &= ~S_ISUID;
    if ((mode & S_ISGID) && source.st_gid != ::getegid()) mode &= ~S_ISGID;
    return mode;
}

bool SameContent(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

} // namespace

std::unique_ptr<char[]> OSPath(tagREFString path) { return std::unique_ptr<char[]>(_IS2A(path, nullptr)); }

std::string OSError::Text() const {
    char buffer[256];
    return reason ? reason : ::strerror_r(code, buffer, sizeof buffer);
}

HRESULT OSCopyFileAt(const char* source, int folder, const char* name, short overwrite, OSError* error) {
    OSError unused;
    OSError& why = error ? *error : unused;
    why = OSError{};

    ScopedFD in(::open(source, O_RDONLY | O_CLOEXEC));
    if (!in.IsOpen()) return Fail(why, errno);
    struct stat before {};
    if (::fstat(in.Get(), &before) != 0) return Fail(why, errno);
    if (S_ISDIR(before.st_mode)) return Fail(why, EISDIR);
    if (!overwrite && ::faccessat(folder, name, F_OK, AT_SYMLINK_NOFOLLOW) == 0) return Fail(why, EEXIST);

    WorkFile work(folder);
    if (!work.Create()) return Fail(why, errno);
    uint64_t written = 0;
    if (!CopyContent(in.Get(), work.Get(), written)) return Fail(why, errno);

    if (written == 0) {
        // An empty source: the empty target is put in place with the mode a
        // new file gets, and the copy fails as a copy that wrote nothing.
        ::fchmod(work.Get(), 0666 & ~CurrentUmask());
        if (!work.Commit(name, overwrite != 0)) return Fail(why, errno);
        return E_FAIL;
    }

    // The file read must be the file at the source path, whole and
    // unchanged: otherwise the copy could be a mix of two versions, or an
    // older version with a newer time than the source's next one.
    struct stat after {}, now {};
    if (::fstat(in.Get(), &after) != 0) return Fail(why, errno);
    if (!SameContent(before, after) || written != static_cast<uint64_t>(after.st_size) ||
        ::stat(source, &now) != 0 || now.st_dev != before.st_dev || now.st_ino != before.st_ino)
        return Fail(why, "the source changed while it was read");

    // A file system without permission bits (FAT) refuses this; the copy is
    // still whole.
    ::fchmod(work.Get(), CopiedMode(before));
    if (!work.Commit(name, overwrite != 0)) return Fail(why, errno);
    return S_OK;
}

HRESULT OSCopyFile(CREFString source, CREFString target, short overwrite, OSError* error) {
    const std::unique_ptr<char[]> from = OSPath(source);
    const std::unique_ptr<char[]> to = OSPath(target);
    const char* slash = std::strrchr(to.get(), '/');
    const std::string folder = !slash                ? std::string(".")
                               : slash == to.get() ? std::string("/")
                                                   : std::string(to.get(), static_cast<size_t>(slash - to.get()));
    ScopedFD parent(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!parent.IsOpen()) {
        if (error) error->code = errno;
        return E_FAIL;
    }
    return OSCopyFileAt(from.get(), parent.Get(), slash ? slash + 1 : to.get(), overwrite, error);
}

void OSUseUnnamedWorkFiles(bool use) { g_unnamedWorkFiles.store(use, std::memory_order_relaxed); }

void OSRemoveStaleWorkFiles(int folder) {
    ScopedFD listing(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!listing.IsOpen()) return;
    std::vector<std::string> stale;
    {
        ScopedDIR dir{::fdopendir(listing.Get())};
        if (!dir) return;
        (void)listing.Release(); // the stream owns the descriptor now
        while (const dirent* entry = ::readdir(dir.get()))
            if (IsCopyWorkFileName(entry->d_name, std::strlen(entry->d_name))) stale.emplace_back(entry->d_name);
    }
    for (const std::string& name : stale) {
        ScopedFD work(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        // Locked by its writer while a copy runs; a lock we get means no
        // copy holds it any more.
        if (work.IsOpen() && ::flock(work.Get(), LOCK_EX | LOCK_NB) == 0) ::unlinkat(folder, name.c_str(), 0);
    }
}

HRESULT OSCreateFolder(CREFString path) {
    if (path.m_Length <= 0) return E_FAIL;
    const std::unique_ptr<char[]> narrow = OSPath(path);
    std::string text(narrow.get());
    // Mode 0777 under the umask: the process's umask is left as it is.
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
    if (ScopedDIR{::opendir(narrow.get())}) return 1;
    if (ScopedFILE{std::fopen(narrow.get(), "rb")}) return 0;
    return E_FAIL;
}

bool OSFolderIdentityOf(CREFString path, OSFolderIdentity* identity) {
    return path.m_Length > 0 && OSFolderIdentityAt(OSPath(path).get(), identity);
}

bool OSFolderIdentityAt(const char* path, OSFolderIdentity* identity) {
    struct stat status {};
    if (::stat(path, &status) != 0 || !S_ISDIR(status.st_mode)) return false;
    *identity = OSFolderIdentity{status.st_dev, status.st_ino};
    return true;
}

std::wstring OSJoin(std::wstring_view folder, std::wstring_view name) {
    std::wstring path(folder);
    path.push_back(L'/');
    path.append(name);
    return path;
}

bool OSStaysBelow(std::wstring_view relative) {
    if (relative.empty() || relative.front() == L'/') return false;
    for (size_t start = 0; start <= relative.size();) {
        size_t end = relative.find(L'/', start);
        if (end == std::wstring_view::npos) end = relative.size();
        if (relative.substr(start, end - start) == L"..") return false;
        start = end + 1;
    }
    return true;
}

bool OSNameMirrorable(CREFString name) {
    for (int32_t i = 0; i < name.m_Length; ++i)
        if (name.m_pString[i] >= 0xD800 && name.m_pString[i] <= 0xDFFF) return false;
    return true;
}
