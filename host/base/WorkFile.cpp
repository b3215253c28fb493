#include "host/base/WorkFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cinttypes>

namespace host {

namespace {

std::atomic<bool> g_namedOnly{false};

// ".work-" and sixteen random hexadecimal digits: hidden, and unique enough
// that the O_EXCL retry below almost never runs.
std::string RandomWorkName() {
    static std::atomic<uint64_t> counter{0};
    uint64_t bits = 0;
    // Without the random source a process-wide counter and the process id
    // still keep names apart; a clash only costs a retry.
    if (::getrandom(&bits, sizeof bits, GRND_NONBLOCK) != sizeof bits)
        bits = (static_cast<uint64_t>(::getpid()) << 32) + counter.fetch_add(1);
    char name[32];
    std::snprintf(name, sizeof name, ".work-%016" PRIx64, bits);
    return name;
}

// Gives the open file `fd` the name `name` in `folder`; fails with EEXIST
// when the name is taken. The descriptor's entry under /proc links the file
// itself; AT_EMPTY_PATH, which needs a privilege most processes lack, is
// the way left where /proc is not mounted.
int LinkDescriptor(int fd, int folder, const std::string& name) {
    const std::string self = "/proc/self/fd/" + std::to_string(fd);
    if (::linkat(AT_FDCWD, self.c_str(), folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0) return 0;
    if (errno != ENOENT) return errno;
    return ::linkat(fd, "", folder, name.c_str(), AT_EMPTY_PATH) == 0 ? 0 : errno;
}

// Whether O_TMPFILE failed because the file system (or kernel) lacks it,
// rather than for a reason a named file would share.
bool LacksTmpFile(int error) { return error == EOPNOTSUPP || error == EISDIR || error == EINVAL; }

} // namespace

WorkFile::~WorkFile() {
    m_fd.Reset();
    if (!m_placed && !m_name.empty()) ::unlinkat(m_folder, m_name.c_str(), 0);
}

int WorkFile::Create(int folder) {
    m_folder = folder;
    if (!g_namedOnly.load(std::memory_order_relaxed)) {
        m_fd.Reset(::openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
        if (m_fd.IsOpen()) return 0;
        if (!LacksTmpFile(errno)) return errno;
    }
    for (int attempt = 0; attempt < 16; ++attempt) {
        std::string name = RandomWorkName();
        m_fd.Reset(::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
        if (m_fd.IsOpen()) {
            m_name = std::move(name);
            return 0;
        }
        if (errno != EEXIST) return errno;
    }
    return EEXIST;
}

int WorkFile::Write(const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size) {
        const ssize_t n = ::write(m_fd.Get(), bytes, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return 0;
}

int WorkFile::Finish() {
    if (::fsync(m_fd.Get()) != 0) return errno;
    // A nameless file is linked through its descriptor, so it stays open.
    if (m_name.empty()) return 0;
    return m_fd.Close() ? 0 : errno;
}

int WorkFile::NameIt() {
    for (int attempt = 0; attempt < 16; ++attempt) {
        std::string name = RandomWorkName();
        const int error = LinkDescriptor(m_fd.Get(), m_folder, name);
        if (!error) {
            m_name = std::move(name);
            m_fd.Reset();
            return 0;
        }
        if (error != EEXIST) return error;
    }
    return EEXIST;
}

int WorkFile::LinkAs(const std::string& name) {
    if (m_name.empty()) {
        if (int error = LinkDescriptor(m_fd.Get(), m_folder, name)) return error;
        m_placed = true;
        m_fd.Reset();
        ::fsync(m_folder);
        return 0;
    }
    // A second name, then the work name goes: link() never replaces.
    if (::linkat(m_folder, m_name.c_str(), m_folder, name.c_str(), 0) != 0) return errno;
    m_placed = true;
    ::unlinkat(m_folder, m_name.c_str(), 0);
    ::fsync(m_folder); // the new name lasts a crash as well (best effort)
    return 0;
}

int WorkFile::ReplaceAs(const std::string& name) {
    if (m_name.empty()) {
        if (int error = NameIt()) return error;
    }
    if (::renameat(m_folder, m_name.c_str(), m_folder, name.c_str()) != 0) return errno;
    m_placed = true;
    ::fsync(m_folder);
    return 0;
}

bool IsWorkFileName(std::string_view name) {
    constexpr std::string_view prefix = ".work-";
    if (name.size() != prefix.size() + 16 || name.substr(0, prefix.size()) != prefix) return false;
    for (char c : name.substr(prefix.size()))
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    return true;
}

void UseNamedWorkFilesForTesting(bool named) { g_namedOnly.store(named, std::memory_order_relaxed); }

} // namespace host
