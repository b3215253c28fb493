// The one owner of each kind of operating-system handle, for the module, the
// host runtime and the command line alike: a file descriptor, a stdio
// stream, a folder stream. Each closes what it holds when it goes; none is
// copied.
#pragma once

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

// A file descriptor (-1 for none).
class ScopedFD final {
public:
    ScopedFD() = default;
    explicit ScopedFD(int fd) : m_fd(fd) {}
    ScopedFD(ScopedFD&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    ScopedFD& operator=(ScopedFD&& other) noexcept {
        if (this != &other) Reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    ScopedFD(const ScopedFD&) = delete;
    ScopedFD& operator=(const ScopedFD&) = delete;
    ~ScopedFD() { Reset(); }

    int Get() const { return m_fd; }
    bool IsOpen() const { return m_fd >= 0; }
    // Gives up the descriptor without closing it.
    [[nodiscard]] int Release() { return std::exchange(m_fd, -1); }
    // Closes what it holds and holds `fd` instead.
    void Reset(int fd = -1) {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = fd;
    }
    // Closes now; false when the close reported an error (a write that
    // failed late, on a network file system for instance).
    bool Close() {
        const int fd = std::exchange(m_fd, -1);
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int m_fd = -1;
};

struct FILECloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
// A stdio stream (null for none).
using ScopedFILE = std::unique_ptr<std::FILE, FILECloser>;

struct DIRCloser {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
// A folder stream (null for none).
using ScopedDIR = std::unique_ptr<DIR, DIRCloser>;

