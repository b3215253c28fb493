#include "host/streams/ZipPacking.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "host/streams/ZipHandles.h"
#include "sdk/ScopedHandles.h"

namespace host {

namespace {

std::string Reason(int error) { return std::strerror(error); }

struct FolderFile {
    std::string relative; // "/" between folders
    mode_t mode;
    time_t mtime;
    uint64_t size;
};

// Lists the regular files and the folders below `folder` (shown as `shown`
// in messages) without following links, each folder's names in byte order.
// Folders are listed too, so that an empty one is packed and unpacked.
bool Walk(int folder, const std::string& shown, const std::string& prefix, std::vector<FolderFile>& files,
          std::string& error) {
    const std::string here = prefix.empty() ? shown : shown + "/" + prefix;
    ScopedDIR listing(::fdopendir(::fcntl(folder, F_DUPFD_CLOEXEC, 0)));
    if (!listing) {
        error = here + ": " + Reason(errno);
        return false;
    }
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
        errno = 0;
    }
    if (errno) {
        error = here + ": " + Reason(errno);
        return false;
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const std::string relative = prefix.empty() ? name : prefix + "/" + name;
        struct stat status {};
        if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
            error = shown + "/" + relative + ": " + Reason(errno);
            return false;
        }
        if (S_ISREG(status.st_mode)) {
            files.push_back({relative, status.st_mode, status.st_mtime, static_cast<uint64_t>(status.st_size)});
        } else if (S_ISDIR(status.st_mode)) {
            files.push_back({relative, status.st_mode, status.st_mtime, 0});
            ScopedFD sub(::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            if (!sub.IsOpen()) {
                error = shown + "/" + relative + ": " + Reason(errno);
                return false;
            }
            if (!Walk(sub.Get(), shown, relative, files, error)) return false;
        }
        // Links, devices, FIFOs and sockets are left out.
    }
    return true;
}

// A libzip source that reads one file while the archive is written: opened
// without following a link, read in chunks, and its failure recorded with
// the file's path. libzip asks it through the callback below.
struct FileSource final {
    FileSource(std::string path, const FolderFile& file, std::string& failure)
        : path(std::move(path)), size(file.size), mtime(file.mtime), failure(failure) {}

    zip_int64_t Fail(int code, int system) {
        if (failure.empty()) failure = path + ": " + Reason(system);
        zip_error_set(&error.error, code, system);
        return -1;
    }

    std::string path;
    uint64_t size;
    time_t mtime;
    std::string& failure; // the first failure of the whole archive
    ScopedFD fd;
    ZipError error;
};

zip_int64_t FileSourceCallback(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
    FileSource& source = *static_cast<FileSource*>(state);
    switch (command) {
    case ZIP_SOURCE_OPEN: {
        source.fd.Reset(::open(source.path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (!source.fd.IsOpen()) return source.Fail(ZIP_ER_OPEN, errno);
        struct stat status {};
        if (::fstat(source.fd.Get(), &status) != 0) return source.Fail(ZIP_ER_OPEN, errno);
        if (!S_ISREG(status.st_mode)) return source.Fail(ZIP_ER_OPEN, EINVAL);
        return 0;
    }
    case ZIP_SOURCE_READ: {
        for (;;) {
            const ssize_t n = ::read(source.fd.Get(), data, length);
            if (n >= 0) return n;
            if (errno != EINTR) return source.Fail(ZIP_ER_READ, errno);
        }
    }
    case ZIP_SOURCE_CLOSE:
        source.fd.Reset();
        return 0;
    case ZIP_SOURCE_STAT: {
        zip_stat_t* status = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &source.error.error);
        if (!status) return -1;
        zip_stat_init(status);
        status->size = source.size;
        status->mtime = source.mtime;
        status->valid |= ZIP_STAT_SIZE | ZIP_STAT_MTIME;
        return sizeof(zip_stat_t);
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&source.error.error, data, length);
    case ZIP_SOURCE_FREE:
        return 0; // the state belongs to AddFolder
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                                              ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    default:
        zip_error_set(&source.error.error, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
}

} // namespace

bool PackFolder(std::string& bytes, std::string folder, std::string& error) {
    if (folder.empty()) {
        error = "no folder is given";
        return false;
    }
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    ScopedFD root(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!root.IsOpen()) {
        error = folder + ": " + Reason(errno);
        return false;
    }
    std::vector<FolderFile> files;
    if (!Walk(root.Get(), folder, "", files, error)) return false;
    if (files.empty()) return true;

    // The sources' states outlive the archive that reads them.
    std::vector<std::unique_ptr<FileSource>> sources;
    std::string readFailure;
    OpenedArchive opened;
    if (!OpenArchive(bytes, bytes.empty() ? ZIP_CREATE | ZIP_TRUNCATE : 0, opened, error)) {
        error = "the archive cannot be opened: " + error;
        return false;
    }
    zip_t* archive = opened.archive.get();
    const std::string base = folder == "/" ? folder : folder + "/";
    for (const FolderFile& file : files) {
        const std::string path = base + file.relative;
        const bool isFolder = S_ISDIR(file.mode);
        zip_int64_t index = -1;
        if (isFolder) {
            index = zip_dir_add(archive, file.relative.c_str(), ZIP_FL_ENC_GUESS);
        } else {
            sources.push_back(std::make_unique<FileSource>(path, file, readFailure));
            zip_source_t* source = zip_source_function(archive, &FileSourceCallback, sources.back().get());
            index = source ? zip_file_add(archive, file.relative.c_str(), source, ZIP_FL_ENC_GUESS) : -1;
            if (index < 0 && source) zip_source_free(source);
        }
        const zip_uint32_t attributes =
            static_cast<zip_uint32_t>((isFolder ? S_IFDIR : S_IFREG) | (file.mode & 07777)) << 16;
        if (index < 0 || (!isFolder && zip_set_file_compression(archive, index, ZIP_CM_DEFLATE, 0) != 0) ||
            zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, attributes) != 0 ||
            zip_file_set_mtime(archive, index, file.mtime, 0) != 0) {
            error = path + ": " + zip_error_strerror(zip_get_error(archive));
            return false;
        }
    }
    if (zip_close(archive) != 0) {
        error = readFailure.empty() ? std::string(zip_error_strerror(zip_get_error(archive))) : readFailure;
        return false;
    }
    (void)opened.archive.release(); // closed: zip_close freed it
    std::string packed;
    if (!ReadSource(opened.source.get(), packed, error)) {
        error = "the archive cannot be read back: " + error;
        return false;
    }
    bytes.swap(packed);
    return true;
}

} // namespace host
