// "File": a data stream whose content comes from a file, and that saves a
// stream's content to a file.
//
// - Open maps the file read-only and private: the content is read from the
//   page cache as it is touched, not copied to the heap, and writes to the
//   stream change the mapped pages of this process only (copy on write),
//   never the file. The content is a growable stream over the mapping with
//   ByteBuffer's rules: writes within it overwrite in place, a write past
//   its end copies the content to storage of the stream's own. The mapping
//   lives as long as the content uses it. Reading the content in order with
//   Read drops the pages it has passed from the process's memory (they are
//   read from the file again if touched), so a stream of any size read
//   through holds a few megabytes at most; once the stream has been written
//   to, its pages are kept.
// - SaveStream writes the whole content of a stream to a work file in the
//   target's folder, flushes it, and renames it over the target: the target
//   holds its old content or all of the new one. A target that is a
//   symbolic link is refused; a new file gets mode 0666 under the umask, a
//   replaced one keeps its mode.
// - Failures of both answer IStreamErrorText with "path: reason".
// - IFileArchive: the file name is the path of the last successful Open, or
//   what put_Filename set since; get_Name is its last component. Load opens
//   that file and Save saves the content to it, as Open and SaveStream do.
//   There is no file-dialog filter of its own: get_Filter is E_NOTIMPL.
// - IString: the content's bytes as characters 0-255. The text is built at
//   the first GetString and kept for the stream's life (its pointer must
//   stay valid): later writes or opens do not change it.
// Paths are host text, mapped to file-name bytes by FileNameEncoding, so a
// name that is not valid UTF-8 still reaches its file.
#pragma once

#include <string>
#include <utility>

#include "host/base/HostObject.h"
#include "host/streams/ByteBuffer.h"
#include "host/streams/StreamErrorText.h"
#include "host/streams/StreamFaces.h"
#include "host/streams/StreamFiles.h"

namespace host {

// A read-only private mapping of a whole file; unmapped when it goes.
class FileMapping final {
public:
    FileMapping() = default;
    FileMapping(const FileMapping&) = delete;
    FileMapping& operator=(const FileMapping&) = delete;
    ~FileMapping() { Reset(); }

    // Maps `size` bytes of `fd`; 0 or the errno of the failure.
    int Map(int fd, size_t size);
    void Reset();
    void Swap(FileMapping& other) {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
    }
    void* Data() const { return m_data; }
    size_t Size() const { return m_size; }

private:
    void* m_data = nullptr;
    size_t m_size = 0;
};

class FileDataStream final : public HostObject<IFileDataStream, IString, IStreamErrorText, FileArchiveFace> {
public:
    FileDataStream() = default;

    HRESULT Create(void* buffer, unsigned long size, short growable) override;
    HRESULT Reset(short clear) override;
    HRESULT Seek(long offset, unsigned int origin, unsigned long* position) override;
    HRESULT GetStream(void** data, unsigned long* size) override;
    HRESULT Read(void* data, unsigned int size, unsigned int* read) override;
    HRESULT Write(const void* data, unsigned int size, unsigned int* written) override;

    HRESULT Open(IString* path) override;
    HRESULT SaveStream(IDataStream* content, IString* path) override;

    HRESULT GetString(tagREFString* view) override;
    HRESULT get_ErrorText(IString** text) override;

    HRESULT get_Filter(IString** filter) override;
    HRESULT Load() override;
    HRESULT Save() override;

protected:
    ArchiveFile& Archive() override { return m_file; }

private:
    // Drops the mapping once the content has left it.
    void ReleaseUnusedMapping();
    // Drops the pages of an unmodified mapping that reads have passed; `before`
    // is the position the last read started from.
    void ReleasePassedPages(size_t before);
    static constexpr size_t kReleaseStep = 4 << 20;
    HRESULT Fail(const std::string& path, const std::string& reason);

    FileMapping m_mapping; // declared before m_bytes, which may point into it
    ByteBuffer m_bytes;
    std::wstring m_text;
    bool m_hasText = false;
    bool m_modified = false;   // written to since the last Open
    size_t m_releasedUpTo = 0; // pages of the mapping before this are dropped
    std::string m_error;
    ArchiveFile m_file{L""};
};

HRESULT CreateFileDataStream(const IID* iid, void** out);

} // namespace host
