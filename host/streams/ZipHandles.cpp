#include "host/streams/ZipHandles.h"

namespace host {

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
    char chunk[kZipChunk];
    zip_int64_t n;
    while ((n = zip_source_read(source, chunk, sizeof chunk)) > 0) all.append(chunk, static_cast<size_t>(n));
    if (n < 0) error = zip_error_strerror(zip_source_error(source));
    zip_source_close(source);
    if (n < 0) return false;
    bytes.swap(all);
    return true;
}

} // namespace host
