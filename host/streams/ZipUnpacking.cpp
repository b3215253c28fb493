#include "host/streams/ZipUnpacking.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <vector>

#include "host/base/WorkFile.h"
#include "host/streams/ZipHandles.h"
#include "sdk/ScopedHandles.h"

namespace host {

namespace {

std::string Reason(int error) { return std::strerror(error); }

std::string FolderReason(int error) {
    return error == ENOTDIR ? std::string("not a folder (links are not followed)") : Reason(error);
}

struct Entry {
    zip_uint64_t index;
    std::vector<std::string> parts;
    bool folder;
    int mode; // permission bits stored with the entry; -1 when none
};

std::vector<std::string> SplitName(const std::string& name) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        const size_t slash = name.find('/', start);
        parts.push_back(name.substr(start, slash - start));
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    return parts;
}

std::string Joined(const std::vector<std::string>& parts, size_t count) {
    std::string path;
    for (size_t i = 0; i < count; ++i) path += (i ? "/" : "") + parts[i];
    return path;
}

// Reads and checks every entry's name and kind; an error names the entry.
bool ListEntries(zip_t* archive, std::vector<Entry>& entries, std::string& error) {
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    std::set<std::string> files, folders;
    for (zip_int64_t i = 0; i < count; ++i) {
        const char* raw = zip_get_name(archive, i, ZIP_FL_ENC_RAW);
        if (!raw) {
            error = zip_error_strerror(zip_get_error(archive));
            return false;
        }
        const std::string name(raw);
        Entry entry{static_cast<zip_uint64_t>(i), {}, false, -1};
        if (name.empty() || name.front() == '/') {
            error = "'" + name + "': an absolute or empty entry name";
            return false;
        }
        entry.folder = name.back() == '/';
        entry.parts = SplitName(entry.folder ? name.substr(0, name.size() - 1) : name);
        for (const std::string& part : entry.parts) {
            if (part.empty() || part == "." || part == "..") {
                error = "'" + name + "': a name with an empty, '.' or '..' part";
                return false;
            }
        }
        zip_uint8_t system = 0;
        zip_uint32_t attributes = 0;
        if (zip_file_get_external_attributes(archive, i, 0, &system, &attributes) == 0 &&
            system == ZIP_OPSYS_UNIX) {
            const mode_t mode = attributes >> 16;
            const mode_t type = mode & S_IFMT;
            if (type == S_IFDIR) entry.folder = true;
            else if (type != 0 && type != S_IFREG) {
                error = "'" + name + "': a link or special file, which is not extracted";
                return false;
            }
            if (mode) entry.mode = static_cast<int>(mode & 0777);
        }
        for (size_t n = 1; n < entry.parts.size(); ++n) folders.insert(Joined(entry.parts, n));
        const std::string path = Joined(entry.parts, entry.parts.size());
        if (entry.folder) folders.insert(path);
        else if (!files.insert(path).second) {
            error = "'" + name + "': two entries for one file";
            return false;
        }
        entries.push_back(std::move(entry));
    }
    for (const std::string& file : files) {
        if (folders.count(file)) {
            error = "'" + file + "': both a file and a folder";
            return false;
        }
    }
    return true;
}

// Opens the folder made of the first `count` parts below `root`, never
// following a link. With `create`, missing folders are made (0777 under the
// umask); without, a missing one ends the walk with ENOENT. Returns 0 or
// the errno; `reached` is the number of parts opened.
int OpenFolder(int root, const std::vector<std::string>& parts, size_t count, bool create, ScopedFD& out,
               size_t& reached) {
    ScopedFD current(::fcntl(root, F_DUPFD_CLOEXEC, 0));
    if (!current.IsOpen()) return errno;
    for (reached = 0; reached < count; ++reached) {
        const char* part = parts[reached].c_str();
        const int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        int fd = ::openat(current.Get(), part, flags);
        if (fd < 0 && errno == ENOENT && create) {
            if (::mkdirat(current.Get(), part, 0777) != 0 && errno != EEXIST) return errno;
            fd = ::openat(current.Get(), part, flags);
        }
        if (fd < 0) return errno == ELOOP ? ENOTDIR : errno;
        current.Reset(fd);
    }
    out = std::move(current);
    return 0;
}

// Opens the folder an entry goes in (a folder entry: the folder itself)
// below `root`, as OpenFolder does. On a failure, `error` names the part
// that failed under the target `folder`.
int OpenEntryFolder(int root, const Entry& entry, bool create, const std::string& folder, ScopedFD& parent,
                    std::string& error) {
    const size_t folders = entry.folder ? entry.parts.size() : entry.parts.size() - 1;
    size_t reached = 0;
    const int failure = OpenFolder(root, entry.parts, folders, create, parent, reached);
    if (failure) error = folder + "/" + Joined(entry.parts, reached + 1) + ": " + FolderReason(failure);
    return failure;
}

// Makes `path` and the folders above it that are missing (0777 under the
// umask). The path is the caller's: links in it are followed.
int MakeFolders(const std::string& path) {
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string prefix = path.substr(0, slash);
        if (!prefix.empty() && ::mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) return errno;
        if (slash == std::string::npos) return 0;
    }
}

// Refuses, before anything is written, an entry whose file exists or whose
// folder path passes through something that is not a folder.
bool CheckTarget(const std::string& folder, const std::vector<Entry>& entries, std::string& error) {
    ScopedFD root(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!root.IsOpen()) {
        if (errno == ENOENT) return true; // nothing there yet
        error = folder + ": " + Reason(errno);
        return false;
    }
    for (const Entry& entry : entries) {
        ScopedFD parent;
        std::string failed;
        const int failure = OpenEntryFolder(root.Get(), entry, false, folder, parent, failed);
        if (failure == ENOENT) continue;
        if (failure) {
            error = failed;
            return false;
        }
        struct stat status {};
        if (!entry.folder && ::fstatat(parent.Get(), entry.parts.back().c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
            error = folder + "/" + Joined(entry.parts, entry.parts.size()) + ": exists; it is not overwritten";
            return false;
        }
    }
    return true;
}

// Writes one file entry through a work file in `parent`.
bool ExtractFile(zip_t* archive, const Entry& entry, int parent, const std::string& shown, std::string& error) {
    zip_stat_t status;
    EntryPtr input(zip_fopen_index(archive, entry.index, 0));
    if (!input || zip_stat_index(archive, entry.index, 0, &status) != 0) {
        error = shown + ": " + zip_error_strerror(zip_get_error(archive));
        return false;
    }
    WorkFile work;
    if (int failure = work.Create(parent)) {
        error = shown + ": " + Reason(failure);
        return false;
    }
    char chunk[kZipChunk];
    zip_int64_t n;
    zip_uint64_t total = 0;
    // libzip checks the CRC when the last byte is read: a mismatch is a
    // read error here, and the work file is then never linked in.
    while ((n = zip_fread(input.get(), chunk, sizeof chunk)) > 0) {
        if (int failure = work.Write(chunk, static_cast<size_t>(n))) {
            error = shown + ": " + Reason(failure);
            return false;
        }
        total += static_cast<zip_uint64_t>(n);
    }
    if (n < 0 || ((status.valid & ZIP_STAT_SIZE) && total != status.size)) {
        error = shown + ": " + (n < 0 ? zip_error_strerror(zip_file_get_error(input.get())) : "truncated entry");
        return false;
    }
    int failure = entry.mode >= 0 && ::fchmod(work.Fd(), static_cast<mode_t>(entry.mode)) != 0 ? errno : 0;
    if (!failure) failure = work.Finish();
    if (!failure) failure = work.LinkAs(entry.parts.back());
    if (failure) {
        error = shown + ": " + (failure == EEXIST ? std::string("exists; it is not overwritten") : Reason(failure));
        return false;
    }
    return true;
}

} // namespace

bool UnpackArchive(std::string_view bytes, std::string folder, std::string& error) {
    if (folder.empty()) {
        error = "no folder is given";
        return false;
    }
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    std::vector<Entry> entries;
    OpenedArchive opened;
    if (!bytes.empty()) {
        if (!OpenArchive(bytes, ZIP_RDONLY | ZIP_CHECKCONS, opened, error)) {
            error = "the archive cannot be opened: " + error;
            return false;
        }
        if (!ListEntries(opened.archive.get(), entries, error)) return false;
    }
    if (!CheckTarget(folder, entries, error)) return false;

    if (int failure = MakeFolders(folder)) {
        error = folder + ": " + Reason(failure);
        return false;
    }
    ScopedFD root(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!root.IsOpen()) {
        error = folder + ": " + Reason(errno);
        return false;
    }
    for (const Entry& entry : entries) {
        ScopedFD parent;
        if (OpenEntryFolder(root.Get(), entry, true, folder, parent, error)) return false;
        const std::string shown = folder + "/" + Joined(entry.parts, entry.parts.size());
        if (!entry.folder && !ExtractFile(opened.archive.get(), entry, parent.Get(), shown, error)) return false;
    }
    return true;
}

} // namespace host
