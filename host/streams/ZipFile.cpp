#include "host/streams/ZipFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "host/streams/WorkFile.h"
#include "host/text/FileNameEncoding.h"
#include "host/values/HostStrings.h"
#include "sdk/ScopedHandles.h"

namespace host {

namespace {

// An archive without entries: the end record alone.
constexpr char kEmptyArchive[22] = {'P', 'K', 5, 6};
constexpr size_t kChunk = 64 * 1024;

struct ArchiveDiscard {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ArchivePtr = std::unique_ptr<zip_t, ArchiveDiscard>;

struct SourceFree {
    void operator()(zip_source_t* source) const { zip_source_free(source); }
};
using SourcePtr = std::unique_ptr<zip_source_t, SourceFree>;

struct EntryClose {
    void operator()(zip_file_t* entry) const { zip_fclose(entry); }
};
using EntryPtr = std::unique_ptr<zip_file_t, EntryClose>;

// A libzip error, cleaned up when it goes.
struct ZipError final {
    ZipError() { zip_error_init(&error); }
    ~ZipError() { zip_error_fini(&error); }
    ZipError(const ZipError&) = delete;
    ZipError& operator=(const ZipError&) = delete;
    std::string Text() { return zip_error_strerror(&error); }
    zip_error_t error;
};

std::string Reason(int error) { return std::strerror(error); }

// A buffer source over `bytes` (not copied: they must outlive the source)
// and the archive opened on it; the source is kept beyond the archive's
// close, so that the bytes a close writes can be read back.
struct OpenedArchive {
    SourcePtr source;
    ArchivePtr archive;
};

bool OpenArchive(std::string_view bytes, int flags, OpenedArchive& out, std::string& error) {
    ZipError failure;
    SourcePtr source(zip_source_buffer_create(bytes.data(), bytes.size(), 0, &failure.error));
    if (!source) {
        error = failure.Text();
        return false;
    }
    ArchivePtr archive(zip_open_from_source(source.get(), flags, &failure.error));
    if (!archive) {
        error = failure.Text();
        return false;
    }
    zip_source_keep(source.get()); // one reference for the archive, one for us
    out.source = std::move(source);
    out.archive = std::move(archive);
    return true;
}

bool ReadSource(zip_source_t* source, std::string& bytes, std::string& error) {
    if (zip_source_open(source) != 0) {
        error = zip_error_strerror(zip_source_error(source));
        return false;
    }
    std::string all;
    char chunk[kChunk];
    zip_int64_t n;
    while ((n = zip_source_read(source, chunk, sizeof chunk)) > 0) all.append(chunk, static_cast<size_t>(n));
    if (n < 0) error = zip_error_strerror(zip_source_error(source));
    zip_source_close(source);
    if (n < 0) return false;
    bytes.swap(all);
    return true;
}

// ---- adding a folder ------------------------------------------------------

struct FolderFile {
    std::string relative; // "/" between folders
    mode_t mode;
    time_t mtime;
    uint64_t size;
};

// Lists the regular files below `folder` (shown as `shown` in messages)
// without following links, each folder's names in byte order.
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

// ---- extracting -----------------------------------------------------------

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
        const size_t folders = entry.folder ? entry.parts.size() : entry.parts.size() - 1;
        ScopedFD parent;
        size_t reached = 0;
        const int failure = OpenFolder(root.Get(), entry.parts, folders, false, parent, reached);
        if (failure == ENOENT) continue;
        if (failure) {
            error = folder + "/" + Joined(entry.parts, reached + 1) + ": " +
                    (failure == ENOTDIR ? std::string("not a folder (links are not followed)") : Reason(failure));
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
    char chunk[kChunk];
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

HRESULT ZipFile::Fail(std::string message) {
    m_error = std::move(message);
    return E_FAIL;
}

HRESULT ZipFile::Succeed() {
    m_error.clear();
    return S_OK;
}

HRESULT ZipFile::AddFolder(IString* folder) {
    std::string path = FileNameToBytes(ToWide(folder));
    if (path.empty()) return Fail("no folder is given");
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    ScopedFD root(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!root.IsOpen()) return Fail(path + ": " + Reason(errno));
    std::vector<FolderFile> files;
    std::string error;
    if (!Walk(root.Get(), path, "", files, error)) return Fail(error);
    if (files.empty()) return Succeed();

    // The sources' states outlive the archive that reads them.
    std::vector<std::unique_ptr<FileSource>> sources;
    std::string readFailure;
    OpenedArchive opened;
    if (!OpenArchive(m_archive, m_archive.empty() ? ZIP_CREATE | ZIP_TRUNCATE : 0, opened, error))
        return Fail("the archive cannot be opened: " + error);
    zip_t* archive = opened.archive.get();
    const std::string base = path.back() == '/' ? path : path + "/";
    for (const FolderFile& file : files) {
        sources.push_back(std::make_unique<FileSource>(base + file.relative, file, readFailure));
        zip_source_t* source = zip_source_function(archive, &FileSourceCallback, sources.back().get());
        const zip_int64_t index =
            source ? zip_file_add(archive, file.relative.c_str(), source, ZIP_FL_ENC_GUESS) : -1;
        if (index < 0) {
            if (source) zip_source_free(source);
            return Fail(base + file.relative + ": " + zip_error_strerror(zip_get_error(archive)));
        }
        const zip_uint32_t attributes = static_cast<zip_uint32_t>(S_IFREG | (file.mode & 07777)) << 16;
        if (zip_set_file_compression(archive, index, ZIP_CM_DEFLATE, 0) != 0 ||
            zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, attributes) != 0 ||
            zip_file_set_mtime(archive, index, file.mtime, 0) != 0)
            return Fail(base + file.relative + ": " + zip_error_strerror(zip_get_error(archive)));
    }
    if (zip_close(archive) != 0) {
        if (readFailure.empty()) readFailure = zip_error_strerror(zip_get_error(archive));
        return Fail(readFailure);
    }
    (void)opened.archive.release(); // closed: zip_close freed it
    std::string bytes;
    if (!ReadSource(opened.source.get(), bytes, error)) return Fail("the archive cannot be read back: " + error);
    m_archive.swap(bytes);
    return Succeed();
}

HRESULT ZipFile::ExtractTo(IString* folder) {
    std::string path = FileNameToBytes(ToWide(folder));
    if (path.empty()) return Fail("no folder is given");
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    std::vector<Entry> entries;
    OpenedArchive opened;
    std::string error;
    if (!m_archive.empty()) {
        if (!OpenArchive(m_archive, ZIP_RDONLY | ZIP_CHECKCONS, opened, error))
            return Fail("the archive cannot be opened: " + error);
        if (!ListEntries(opened.archive.get(), entries, error)) return Fail(error);
    }
    if (!CheckTarget(path, entries, error)) return Fail(error);

    if (int failure = MakeFolders(path)) return Fail(path + ": " + Reason(failure));
    ScopedFD root(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!root.IsOpen()) return Fail(path + ": " + Reason(errno));
    for (const Entry& entry : entries) {
        const std::string shown = path + "/" + Joined(entry.parts, entry.parts.size());
        const size_t folders = entry.folder ? entry.parts.size() : entry.parts.size() - 1;
        ScopedFD parent;
        size_t reached = 0;
        if (int failure = OpenFolder(root.Get(), entry.parts, folders, true, parent, reached))
            return Fail(path + "/" + Joined(entry.parts, reached + 1) + ": " +
                        (failure == ENOTDIR ? std::string("not a folder (links are not followed)") : Reason(failure)));
        if (!entry.folder && !ExtractFile(opened.archive.get(), entry, parent.Get(), shown, error)) return Fail(error);
    }
    return Succeed();
}

HRESULT ZipFile::Save(IDataStream* stream, int32_t options) {
    if (!stream) return E_POINTER;
    const std::string_view bytes = m_archive.empty() ? std::string_view(kEmptyArchive, sizeof kEmptyArchive)
                                                     : std::string_view(m_archive);
    for (size_t done = 0; done < bytes.size();) {
        const unsigned int part = static_cast<unsigned int>(std::min<size_t>(bytes.size() - done, 1u << 30));
        unsigned int written = 0;
        if (FAILED(stream->Write(bytes.data() + done, part, &written)) || written != part)
            return Fail("the archive cannot be written to the stream");
        done += part;
    }
    return Succeed();
}

HRESULT ZipFile::Load(IDataStream* stream, int32_t options) {
    if (!stream) return E_POINTER;
    void* data = nullptr;
    unsigned long size = 0;
    if (FAILED(stream->GetStream(&data, &size))) return Fail("the stream's content cannot be read");
    std::string bytes(static_cast<const char*>(data), size);
    OpenedArchive opened;
    std::string error;
    if (!OpenArchive(bytes, ZIP_RDONLY | ZIP_CHECKCONS, opened, error)) return Fail("not a zip archive: " + error);
    const bool empty = zip_get_num_entries(opened.archive.get(), 0) == 0;
    opened = {};
    if (empty) bytes.clear();
    m_archive.swap(bytes);
    return Succeed();
}

HRESULT ZipFile::get_ErrorText(IString** text) { return AnswerErrorText(m_error, text); }

HRESULT CreateZipFile(const IID* iid, void** out) { return CreateHostComponent<ZipFile>(iid, out); }

} // namespace host
