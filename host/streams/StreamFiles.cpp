#include "host/streams/StreamFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "sdk/ScopedHandles.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

std::string SystemError(const char* what, const std::string& path, int error) {
    return std::string(what) + " '" + path + "': " + std::strerror(error);
}

bool WriteAll(int fd, std::string_view content) {
    size_t done = 0;
    while (done < content.size()) {
        ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

// The process's file creation mask, read without changing it (changing it
// for a moment would race with other threads creating files).
mode_t CurrentUmask() {
    ScopedFILE status(std::fopen("/proc/self/status", "r"));
    char line[256];
    while (status && std::fgets(line, sizeof line, status.get())) {
        unsigned int mask = 0;
        if (std::sscanf(line, "Umask: %o", &mask) == 1) return static_cast<mode_t>(mask);
    }
    return 022;
}

mode_t ModeFor(const std::string& path) {
    struct stat existing {};
    if (::stat(path.c_str(), &existing) == 0) return existing.st_mode & 07777;
    return 0666 & ~CurrentUmask();
}

} // namespace

bool ReadWholeFile(const std::string& path, std::string& content, std::string& error) {
    ScopedFILE file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        error = SystemError("cannot open", path, errno);
        return false;
    }
    std::string data;
    char chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, file.get())) > 0) data.append(chunk, n);
    if (std::ferror(file.get())) {
        error = SystemError("cannot read", path, errno);
        return false;
    }
    content.swap(data);
    return true;
}

bool ReplaceFile(const std::string& path, std::string_view content, std::string& error) {
    if (path.empty()) {
        error = "no file name is set";
        return false;
    }
    std::string pattern = path + ".tmp-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    ScopedFD fd(::mkstemp(name.data()));
    if (fd.Get() < 0) {
        error = SystemError("cannot create a temporary file for", path, errno);
        return false;
    }
    const std::string temporary(name.data());
    // mkstemp makes the file private to its owner; the saved file keeps the
    // permissions of the file it replaces, or gets the usual ones.
    ::fchmod(fd.Get(), ModeFor(path));
    bool ok = WriteAll(fd.Get(), content) && ::fsync(fd.Get()) == 0;
    int saved = errno;
    if (!fd.Close() && ok) {
        ok = false;
        saved = errno;
    }
    if (ok && ::rename(temporary.c_str(), path.c_str()) != 0) {
        ok = false;
        saved = errno;
    }
    if (!ok) {
        ::unlink(temporary.c_str());
        error = SystemError("cannot write", path, saved);
    }
    return ok;
}

HRESULT ArchiveFile::get_Filename(IString** name) const {
    if (!name) return E_POINTER;
    *name = MakeString(m_filename).Detach();
    return *name ? S_OK : E_FAIL;
}

HRESULT ArchiveFile::put_Filename(IString* name) {
    m_filename = ToWide(name);
    return S_OK;
}

HRESULT ArchiveFile::get_Filter(IString** filter) const {
    if (!filter) return E_POINTER;
    *filter = MakeString(m_filter).Detach();
    return *filter ? S_OK : E_FAIL;
}

HRESULT ArchiveFile::get_Name(IString** name) const {
    if (!name) return E_POINTER;
    const size_t slash = m_filename.find_last_of(L'/');
    *name = MakeString(slash == std::wstring::npos ? m_filename : m_filename.substr(slash + 1)).Detach();
    return *name ? S_OK : E_FAIL;
}

std::string ArchiveFile::Path() const { return ToUtf8(m_filename); }

} // namespace host
