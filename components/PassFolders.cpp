#include "components/PassFolders.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>

namespace {

bool StillThere(const PassFolders::Level& level) {
    OSFolderIdentity now;
    return OSFolderIdentityAt(level.source.c_str(), &now) && now == level.sourceIdentity;
}

} // namespace

PassFolders::Level& PassFolders::Enter(const CREFString& destination) {
    const std::wstring_view path = REFView(destination);
    Level& level = m_levels.emplace_back();
    level.destination.assign(path);

    // Right inside the level above: opened from there, and a link is not
    // followed.
    if (m_levels.size() > 1) {
        const Level& above = m_levels[m_levels.size() - 2];
        const std::wstring_view outer = above.destination;
        if (above.Entered() && path.size() > outer.size() + 1 && path.substr(0, outer.size()) == outer &&
            path[outer.size()] == L'/' && path.find(L'/', outer.size() + 1) == std::wstring_view::npos) {
            const std::wstring_view name = path.substr(outer.size() + 1);
            level.name =
                OSPath(tagREFString{static_cast<int32_t>(name.size()), const_cast<wchar_t*>(name.data())}).get();
            level.folder.Reset(::openat(above.Fd(), level.name.c_str(),
                                        O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            if (!level.Entered()) {
                // O_PATH with O_NOFOLLOW opens a link itself, and O_DIRECTORY
                // then refuses it as no folder: say what it was.
                if (errno == ENOTDIR || errno == ELOOP) {
                    struct stat status {};
                    if (::fstatat(above.Fd(), level.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                        S_ISLNK(status.st_mode)) {
                        level.error.reason = "a symbolic link in the destination is not followed";
                        return level;
                    }
                    errno = ENOTDIR;
                }
                level.error.code = errno;
            }
            return level;
        }
    }
    level.folder.Reset(::open(OSPath(destination).get(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!level.Entered()) level.error.code = errno;
    return level;
}

const PassFolders::Level* PassFolders::Above() const {
    if (m_levels.size() < 2 || m_levels.back().name.empty()) return nullptr;
    return &m_levels[m_levels.size() - 2];
}

bool PassFolders::GuardSource(const CREFString& source, const OSFolderIdentity* expected) {
    Level& level = m_levels.back();
    level.source = OSPath(source).get();
    level.guarded = true;
    if (!OSFolderIdentityAt(level.source.c_str(), &level.sourceIdentity)) return false;
    if (expected && !(*expected == level.sourceIdentity)) return false;
    for (size_t i = 0; i + 1 < m_levels.size(); ++i)
        if (m_levels[i].guarded && !StillThere(m_levels[i])) return false;
    return true;
}

bool PassFolders::SourceUnchanged() const { return !m_levels.back().guarded || StillThere(m_levels.back()); }
