#include "cli/FolderChecks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/CliError.h"
#include "cli/MountPoints.h"
#include "cli/Text.h"
#include "sdk/ScopedHandles.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

// A folder as the file system knows it, whatever path leads to it.
struct FolderId {
    dev_t device;
    ino_t inode;
    bool operator==(const FolderId&) const = default;
};

FolderId IdOf(const struct stat& st) { return FolderId{st.st_dev, st.st_ino}; }

std::optional<FolderId> IdOfPath(const std::string& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return std::nullopt;
    return IdOf(st);
}


// The folder at `path` and every folder above it, as ".." leads up from it
// to the root: through the folders its links really point to and across
// mount points, as the kernel walks them. Empty when `path` cannot be opened.
std::vector<FolderId> FolderChain(const std::string& path) {
    std::vector<FolderId> chain;
    ScopedFD folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat st;
    if (folder.Get() < 0 || ::fstat(folder.Get(), &st) != 0) return chain;
    chain.push_back(IdOf(st));
    for (;;) {
        ScopedFD parent(::openat(folder.Get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (parent.Get() < 0 || ::fstat(parent.Get(), &st) != 0) break;
        if (IdOf(st) == chain.back()) break; // the root is its own parent
        chain.push_back(IdOf(st));
        folder.Reset(parent.Release());
    }
    return chain;
}

bool Holds(const std::vector<FolderId>& chain, const FolderId& id) {
    return std::find(chain.begin(), chain.end(), id) != chain.end();
}

// The path with every link resolved, as mount points are listed; empty
// when it cannot be resolved.
std::string ResolvedPath(const std::string& path) {
    std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
    return resolved ? std::string(resolved.get()) : std::string();
}

// The first mount point below the folder `root` (not `root` itself) that
// leads to one of the folders of `chain`, or empty.
std::string MountPointInto(const std::string& root, const std::vector<std::string>& mountPoints,
                           const std::vector<FolderId>& chain) {
    const std::string resolved = ResolvedPath(root);
    if (resolved.empty()) return {};
    const std::string prefix = resolved == "/" ? resolved : resolved + "/";
    for (const std::string& point : mountPoints) {
        if (point.size() <= prefix.size() || point.compare(0, prefix.size(), prefix) != 0) continue;
        const std::optional<FolderId> id = IdOfPath(point);
        if (id && Holds(chain, *id)) return point;
    }
    return {};
}

// The path itself when it exists, else its nearest existing parent.
std::string NearestExisting(fs::path path) {
    std::error_code error;
    while (!fs::exists(path, error) && path.has_relative_path()) path = path.parent_path();
    return path.empty() ? std::string(".") : path.string();
}

} // namespace

std::string AbsolutePath(const std::string& path) {
    std::error_code error;
    fs::path absolute = fs::absolute(path, error);
    if (error) throw Failure("cannot make " + path + " an absolute path: " + error.message());
    return WithoutTrailingSlash(absolute.lexically_normal().string());
}

void CheckSourceFolder(const std::string& source) {
    std::error_code error;
    if (source.empty() || !fs::is_directory(source, error)) throw Failure("source folder not found: " + source);
}

void CheckDestinationFolder(const std::string& destination) {
    std::error_code error;
    fs::file_status status = fs::status(destination, error);
    if (fs::exists(status)) {
        if (!fs::is_directory(status)) throw Failure("destination is not a folder: " + destination);
        return;
    }
    fs::path parent = fs::path(destination).parent_path();
    if (parent.empty()) return; // a name in the current folder
    if (!fs::is_directory(parent, error))
        throw Failure("cannot create destination folder " + destination + ": folder not found: " + parent.string());
}

void CheckNotCaseVariants(const std::string& source, const std::string& destination) {
    if (source == destination) return; // the same spelling: CheckFoldersApart says so
    const std::wstring from = FromUtf8(source).value_or(L"");
    const std::wstring to = FromUtf8(destination).value_or(L"");
    if (EqualsCaseBlind(from, to))
        throw UsageError("source " + source + " and destination " + destination +
                         " differ only in letter case; mirroring takes such paths for the same folder "
                         "and would do nothing");
}

void CheckFoldersApart(const std::string& source, const std::string& destination) {
    const std::vector<FolderId> sources = FolderChain(source);
    if (sources.empty()) return; // an unreadable source is reported by the run itself
    const std::string existing = NearestExisting(destination);
    const std::vector<FolderId> destinations = FolderChain(existing);
    if (destinations.empty()) return;
    const bool destinationExists = existing == destination;

    if (destinationExists && destinations.front() == sources.front())
        throw UsageError("source " + source + " and destination " + destination + " are the same folder");
    if (Holds(destinations, sources.front()))
        throw UsageError("destination " + destination + " lies inside the source folder " + source +
                         "; copying a folder into itself never ends");
    if (destinationExists && Holds(sources, destinations.front()))
        throw UsageError("source " + source + " lies inside the destination folder " + destination +
                         "; cleaning the destination would delete the source");

    // A mount point inside one folder that leads to the other folder or to
    // a folder above it makes the walk reach the other tree all the same.
    const std::vector<std::string> mountPoints = CurrentMountPoints();
    if (std::string point = MountPointInto(source, mountPoints, destinations); !point.empty())
        throw UsageError("destination " + destination + " lies inside the source folder " + source +
                         " through the mount point " + point + "; copying a folder into itself never ends");
    if (!destinationExists) return;
    if (std::string point = MountPointInto(destination, mountPoints, sources); !point.empty())
        throw UsageError("source " + source + " lies inside the destination folder " + destination +
                         " through the mount point " + point + "; cleaning the destination would delete the source");
}

std::string WithoutTrailingSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

} // namespace cli
