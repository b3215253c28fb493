#include "cli/FolderChecks.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "cli/CliError.h"

namespace cli {

namespace fs = std::filesystem;

namespace {
// True when `inner` is `outer` or lies below it, compared by path elements.
bool IsWithin(const fs::path& inner, const fs::path& outer) {
    auto i = inner.begin();
    for (auto o = outer.begin(); o != outer.end(); ++o, ++i) {
        if (o->empty()) continue; // a trailing separator
        if (i == inner.end() || *i != *o) return false;
    }
    return true;
}
} // namespace

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

void CheckFoldersApart(const std::string& source, const std::string& destination) {
    std::error_code error;
    fs::path from = fs::weakly_canonical(source, error);
    if (error) return; // unreadable paths are reported by the run itself
    fs::path to = fs::weakly_canonical(destination, error);
    if (error) return;
    if (from == to) throw UsageError("source and destination are the same folder: " + from.string());
    if (IsWithin(to, from))
        throw UsageError("destination " + destination + " lies inside the source folder " + source);
    if (IsWithin(from, to))
        throw UsageError("source " + source + " lies inside the destination folder " + destination);
}

std::string WithoutTrailingSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

} // namespace cli
