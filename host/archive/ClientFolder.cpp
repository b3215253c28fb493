#include "host/archive/ClientFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <cwctype>

#include "host/text/ErrnoText.h"
#include "host/text/FileNameEncoding.h"
#include "host/transfer/FileUrl.h"

namespace host::fas {

namespace {

constexpr int64_t kLargestState = int64_t(1) << 30;

bool EndsWith(const std::wstring& text, std::wstring_view end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool StartsCaseBlind(std::wstring_view text, std::wstring_view start) {
    if (text.size() < start.size()) return false;
    for (size_t i = 0; i < start.size(); ++i)
        if (std::towlower(text[i]) != std::towlower(start[i])) return false;
    return true;
}

} // namespace

std::optional<std::string> LocalFolderOf(const std::wstring& location) {
    if (location.empty()) return std::nullopt;
    if (location.find(L"://") != std::wstring::npos && !StartsCaseBlind(location, L"file://")) return std::nullopt;
    std::string path;
    std::wstring why;
    if (!LocalPathOfName(location, L"", path, why)) return std::nullopt;
    return path;
}

bool IsServiceEntry(const std::wstring& name, const std::wstring& schemeName) {
    if (name == schemeName || name == kStateName || name == kStagingName) return true;
    return EndsWith(name, kNewSuffix) || EndsWith(name, kPartSuffix);
}

bool ClientFolder::Open(ILocationScheme* side, std::wstring& why) {
    const std::wstring location = side->Location();
    const std::optional<std::string> path = LocalFolderOf(location);
    if (!path) {
        why = L"the client " + location + L" is not a local folder";
        return false;
    }
    return Open(*path, why);
}

bool ClientFolder::Open(const std::string& path, std::wstring& why) {
    m_shown = FileNameToWide(path);
    if (int code = OpenRoot(path, m_root)) {
        why = L"cannot open the folder " + m_shown + L": " + ErrnoText(code);
        return false;
    }
    return true;
}

bool ClientFolder::ReadState(SchemeFile& state, std::wstring& why) const {
    state = SchemeFile{SchemeKind::ClientState, 0, {}};
    ScopedFD file(::openat(Root(), ".fas-state", O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen()) {
        if (errno == ENOENT) return true;
        why = L"cannot read the client state " + m_shown + L"/.fas-state: " + ErrnoText(errno);
        return false;
    }
    struct stat info {};
    if (::fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > kLargestState) {
        why = L"the client state " + m_shown + L"/.fas-state is no regular file of a sound size";
        return false;
    }
    std::string bytes(static_cast<size_t>(info.st_size), '\0');
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pread(file.Get(), bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            why = L"cannot read the client state " + m_shown + L"/.fas-state";
            return false;
        }
        done += static_cast<size_t>(n);
    }
    if (!ParseSchemeFile(bytes, SchemeKind::ClientState, state, why)) {
        why = m_shown + L"/.fas-state: " + why + L" (remove it to start the client afresh)";
        return false;
    }
    return true;
}

bool ClientFolder::WriteState(const SchemeFile& state, std::wstring& why) const {
    // A file changed again within the same tick of a coarse clock keeps its
    // size and time; a time this recent is not recorded, so the next run
    // reads the file instead of trusting the hash.
    struct timespec clock {};
    ::clock_gettime(CLOCK_REALTIME, &clock);
    const int64_t recent = static_cast<int64_t>(clock.tv_sec - 2) * 1000000000;
    SchemeFile kept = state;
    // The renames of the files placed reach the disk before the state that
    // records them: one flush of the file system rather than one per folder.
    ::syncfs(Root());
    for (SchemeRow& row : kept.rows)
        if (row.modified >= recent) row.modified = 0;
    const std::string bytes = FormatSchemeFile(kept);
    PartFile part;
    int code = part.Create(Root(), ".fas-state.fas-part");
    size_t done = 0;
    while (!code && done < bytes.size()) {
        const ssize_t n = ::write(part.Fd(), bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) code = errno;
        else done += static_cast<size_t>(n);
    }
    LocalFile placed;
    if (!code) code = part.Place(0600, 0, Root(), ".fas-state", placed);
    if (code) why = L"cannot write the client state " + m_shown + L"/.fas-state: " + ErrnoText(code);
    return !code;
}

int ClientFolder::List(const std::wstring& schemeName, const std::atomic<bool>* stop, LocalListing& out,
                       std::wstring& failed) const {
    return ListLocal(
        Root(), [&](const std::wstring& name, bool) { return IsServiceEntry(name, schemeName); }, stop, out, failed);
}

int ClientFolder::Hash(const std::wstring& name, const LocalFile& now, const SchemeRow* recorded,
                       const std::atomic<bool>* stop, std::string& sha256) const {
    if (recorded && recorded->size == now.size && recorded->modified == now.modified && now.modified != 0) {
        sha256 = recorded->sha256;
        return 0;
    }
    ScopedFD file;
    if (int code = OpenFile(Root(), name, file)) return code;
    int64_t size = 0;
    return HashFile(file.Get(), stop, sha256, size);
}

bool ClientFolder::HoldsOther(const std::wstring& name) const {
    ScopedFD folder;
    std::string leaf;
    // A missing folder holds nothing; a part of the path that is a link or
    // a file is the user's entry standing in the way.
    if (int code = OpenParent(Root(), name, false, folder, leaf)) return code != ENOENT;
    struct stat info {};
    return ::fstatat(folder.Get(), leaf.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISREG(info.st_mode);
}

PartFile::~PartFile() {
    m_fd.Reset();
    if (!m_placed && m_folder >= 0) ::unlinkat(m_folder, m_name.c_str(), 0);
}

int PartFile::Create(int folder, std::string name) {
    m_folder = folder;
    m_name = std::move(name);
    // A work file an earlier run left is ours to remove; a link or a folder
    // under the name is not followed (unlinkat refuses a folder).
    ::unlinkat(folder, m_name.c_str(), 0);
    m_fd.Reset(::openat(folder, m_name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!m_fd.IsOpen()) {
        m_folder = -1;
        return errno;
    }
    return 0;
}

int PartFile::Place(uint32_t mode, int64_t modified, int targetFolder, const std::string& target, LocalFile& placed) {
    if (::fchmod(m_fd.Get(), mode ? (mode & 0777) : 0644) != 0) return errno;
    if (modified > 0) {
        const struct timespec times[2] = {{0, UTIME_OMIT}, {modified / 1000000000, modified % 1000000000}};
        if (::futimens(m_fd.Get(), times) != 0) return errno;
    }
    if (::fsync(m_fd.Get()) != 0) return errno;
    struct stat info {};
    if (::fstat(m_fd.Get(), &info) != 0) return errno;
    // renameat replaces a link under the target's name, never follows it,
    // and refuses to replace a folder.
    if (::renameat(m_folder, m_name.c_str(), targetFolder, target.c_str()) != 0) return errno;
    m_placed = true;
    placed = LocalFile{info.st_size, ModifiedNanoseconds(info), info.st_mode & 07777u};
    return 0;
}

} // namespace host::fas
