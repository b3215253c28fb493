// Owners of libzip's handles for the zip code of the streams family, and
// the two steps every use takes: opening an archive over bytes in memory,
// and reading back the bytes a close wrote.
#pragma once

#include <zip.h>

#include <memory>
#include <string>
#include <string_view>

namespace host {

// The size of the chunks files and entries are read in.
constexpr size_t kZipChunk = 64 * 1024;

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

// A buffer source over `bytes` (not copied: they must outlive the source)
// and the archive opened on it; the source is kept beyond the archive's
// close, so that the bytes a close writes can be read back.
struct OpenedArchive {
    SourcePtr source;
    ArchivePtr archive;
};

// Opens an archive with `flags` over a buffer source on `bytes` (not
// copied: they must outlive the archive).
bool OpenArchive(std::string_view bytes, int flags, OpenedArchive& out, std::string& error);

// Reads the whole content of `source` (after the archive on it was closed).
bool ReadSource(zip_source_t* source, std::string& bytes, std::string& error);

} // namespace host
