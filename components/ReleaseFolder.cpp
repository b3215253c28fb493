#include "components/ReleaseFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

namespace {

// The next step of a relative path, and the rest after its "/". Empty steps
// (doubled or trailing slashes) and "." are passed over by the callers.
std::wstring_view NextStep(std::wstring_view& rest) {
    const size_t slash = rest.find(L'/');
    const std::wstring_view step = rest.substr(0, slash);
    rest = slash == std::wstring_view::npos ? std::wstring_view() : rest.substr(slash + 1);
    return step;
}

// The folder `name` inside `above`, opened without following a link.
ScopedFD Enter(int above, const char* name, bool create, OSError* error) {
    if (create && ::mkdirat(above, name, 0777) != 0 && errno != EEXIST) {
        error->code = errno;
        return ScopedFD();
    }
    ScopedFD folder(::openat(above, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (folder.IsOpen()) return folder;
    error->code = errno;
    // O_PATH with O_NOFOLLOW opens a link itself, and O_DIRECTORY then
    // refuses it as no folder: say what it was.
    struct stat status {};
    if (::fstatat(above, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode)) {
        error->code = 0;
        error->reason = "a symbolic link in the destination is not followed";
    }
    return folder;
}

} // namespace

bool ReleaseFolder::Open(const CREFString& path, OSError* error) {
    if (FAILED(OSCreateFolder(path))) {
        error->code = errno ? errno : ENOENT;
        return false;
    }
    m_root.Reset(::open(OSPath(path).get(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!m_root.IsOpen()) error->code = errno;
    return m_root.IsOpen();
}

ScopedFD ReleaseFolder::Folder(std::wstring_view relative, bool create, OSError* error) const {
    if (!m_root.IsOpen()) {
        error->reason = "the release folder is not open";
        return ScopedFD();
    }
    if (!relative.empty() && !OSStaysBelow(relative)) {
        error->reason = "the path leaves the release folder";
        return ScopedFD();
    }
    ScopedFD folder(::openat(m_root.Get(), ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder.IsOpen()) error->code = errno;
    for (std::wstring_view rest = relative; folder.IsOpen() && !rest.empty();) {
        const std::wstring_view step = NextStep(rest);
        if (step.empty() || step == L".") continue;
        folder = Enter(folder.Get(), OSPath(REFOf(step)).get(), create, error);
    }
    return folder;
}

HRESULT ReleaseFolder::CopyInto(const CREFString& source, std::wstring_view relative, bool createFolders,
                                OSError* error) const {
    const size_t slash = relative.rfind(L'/');
    const std::wstring_view name = slash == std::wstring_view::npos ? relative : relative.substr(slash + 1);
    if (!OSStaysBelow(relative) || name.empty() || name == L"." || name == L"..") {
        error->reason = "the path leaves the release folder";
        return E_FAIL;
    }
    const std::wstring_view above = slash == std::wstring_view::npos ? std::wstring_view() : relative.substr(0, slash);
    const ScopedFD folder = Folder(above, createFolders, error);
    if (!folder.IsOpen()) return E_FAIL;
    return OSCopyFileAt(OSPath(source).get(), folder.Get(), OSPath(REFOf(name)).get(), 1, error);
}
