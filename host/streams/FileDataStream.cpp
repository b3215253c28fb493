#include "host/streams/FileDataStream.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "host/base/WorkFile.h"
#include "host/text/FileNameEncoding.h"
#include "host/values/HostStrings.h"
#include "sdk/ScopedHandles.h"

namespace host {

namespace {

std::string PathBytes(IString* path) { return FileNameToBytes(ToWide(path)); }

std::string Reason(int error) { return std::strerror(error); }

// The folder part of `path` ("." for a bare name) and its last part.
void SplitPath(const std::string& path, std::string& folder, std::string& name) {
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) {
        folder = ".";
        name = path;
    } else {
        folder = slash == 0 ? "/" : path.substr(0, slash);
        name = path.substr(slash + 1);
    }
}

} // namespace

int FileMapping::Map(int fd, size_t size) {
    Reset();
    if (size == 0) return 0;
    // Writable but private: a write copies the page for this process only.
    void* data = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, 0);
    if (data == MAP_FAILED) return errno;
    m_data = data;
    m_size = size;
    return 0;
}

void FileMapping::Reset() {
    if (m_data) ::munmap(m_data, m_size);
    m_data = nullptr;
    m_size = 0;
}

HRESULT FileDataStream::Create(void* buffer, unsigned long size, short growable) {
    const HRESULT hr = m_bytes.Create(buffer, size, growable != 0);
    ReleaseUnusedMapping();
    return hr;
}

HRESULT FileDataStream::Reset(short clear) { return m_bytes.Reset(clear != 0); }

HRESULT FileDataStream::Seek(long offset, unsigned int origin, unsigned long* position) {
    return m_bytes.Seek(offset, origin, position);
}

HRESULT FileDataStream::GetStream(void** data, unsigned long* size) { return m_bytes.GetStream(data, size); }

HRESULT FileDataStream::Read(void* data, unsigned int size, unsigned int* read) {
    const size_t before = m_bytes.Position();
    const HRESULT hr = m_bytes.Read(data, size, read);
    ReleasePassedPages(before);
    return hr;
}

void FileDataStream::ReleasePassedPages(size_t before) {
    if (m_modified || !m_mapping.Data() || m_bytes.View().data() != m_mapping.Data()) return;
    static const size_t page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    // Read again from further back: those pages are in memory once more.
    if (before < m_releasedUpTo) m_releasedUpTo = before / page * page;
    const size_t end = m_bytes.Position() / page * page;
    if (end <= m_releasedUpTo || end - m_releasedUpTo < kReleaseStep) return;
    // Clean pages of a private file mapping: dropped now, read from the file
    // again should anyone touch them, with the same content.
    ::madvise(static_cast<char*>(m_mapping.Data()) + m_releasedUpTo, end - m_releasedUpTo, MADV_DONTNEED);
    m_releasedUpTo = end;
}

HRESULT FileDataStream::Write(const void* data, unsigned int size, unsigned int* written) {
    // A write in place makes pages of the mapping this stream's own: they
    // may no longer be dropped.
    m_modified = true;
    const HRESULT hr = m_bytes.Write(data, size, written);
    ReleaseUnusedMapping();
    return hr;
}

void FileDataStream::ReleaseUnusedMapping() {
    if (m_mapping.Data() && m_bytes.View().data() != m_mapping.Data()) m_mapping.Reset();
}

HRESULT FileDataStream::Fail(const std::string& path, const std::string& reason) {
    m_error = path.empty() ? reason : path + ": " + reason;
    return E_FAIL;
}

HRESULT FileDataStream::Open(IString* path) {
    const std::string file = PathBytes(path);
    if (file.empty()) return Fail(file, "no file name is given");
    // O_NONBLOCK: opening a FIFO must not wait for a writer before the
    // check below refuses it.
    ScopedFD fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!fd.IsOpen()) return Fail(file, Reason(errno));
    struct stat status {};
    if (::fstat(fd.Get(), &status) != 0) return Fail(file, Reason(errno));
    if (!S_ISREG(status.st_mode)) return Fail(file, "not a regular file");
    const auto size = static_cast<unsigned long long>(status.st_size);
    if (size > std::numeric_limits<unsigned long>::max() || size > std::numeric_limits<size_t>::max())
        return Fail(file, Reason(EFBIG));

    FileMapping mapping;
    if (int error = mapping.Map(fd.Get(), static_cast<size_t>(size))) return Fail(file, Reason(error));
    // The stream moves onto the new mapping before the old one goes.
    m_bytes.Create(mapping.Data(), static_cast<unsigned long>(size), true);
    m_mapping.Swap(mapping);
    m_modified = false;
    m_releasedUpTo = 0;
    m_file.put_Filename(path);
    m_error.clear();
    return S_OK;
}

HRESULT FileDataStream::SaveStream(IDataStream* content, IString* path) {
    const std::string file = PathBytes(path);
    if (file.empty()) return Fail(file, "no file name is given");
    void* data = nullptr;
    unsigned long size = 0;
    IDataStream* source = content ? content : static_cast<IDataStream*>(this);
    if (FAILED(source->GetStream(&data, &size))) return Fail(file, "the content cannot be read");

    std::string folderPath, name;
    SplitPath(file, folderPath, name);
    if (name.empty()) return Fail(file, Reason(EISDIR));
    ScopedFD folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.IsOpen()) return Fail(file, Reason(errno));

    struct stat old {};
    const bool replacing = ::fstatat(folder.Get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
    if (replacing && S_ISLNK(old.st_mode)) return Fail(file, "is a symbolic link; it is not replaced");
    if (replacing && !S_ISREG(old.st_mode)) return Fail(file, "not a regular file");

    WorkFile work;
    int error = work.Create(folder.Get());
    if (!error && replacing && ::fchmod(work.Fd(), old.st_mode & 07777) != 0) error = errno;
    if (!error) error = work.Write(data, size);
    if (!error) error = work.Finish();
    if (!error) error = work.ReplaceAs(name);
    if (error) return Fail(file, Reason(error));
    m_error.clear();
    return S_OK;
}

HRESULT FileDataStream::GetString(tagREFString* view) {
    if (!view) return E_POINTER;
    if (!m_hasText) {
        const std::string_view bytes = m_bytes.View();
        if (bytes.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) return E_FAIL;
        m_text.resize(bytes.size());
        for (size_t i = 0; i < bytes.size(); ++i) m_text[i] = static_cast<unsigned char>(bytes[i]);
        m_hasText = true;
    }
    view->m_Length = static_cast<int32_t>(m_text.size());
    view->m_pString = m_text.data();
    return S_OK;
}

HRESULT FileDataStream::get_ErrorText(IString** text) { return AnswerErrorText(m_error, text); }

HRESULT FileDataStream::get_Filter(IString** filter) {
    if (filter) *filter = nullptr;
    return E_NOTIMPL;
}

HRESULT FileDataStream::Load() {
    IPtr<IString> name;
    if (FAILED(m_file.get_Filename(name.Out()))) return E_FAIL;
    return Open(name.Get());
}

HRESULT FileDataStream::Save() {
    IPtr<IString> name;
    if (FAILED(m_file.get_Filename(name.Out()))) return E_FAIL;
    return SaveStream(this, name.Get());
}

HRESULT CreateFileDataStream(const IID* iid, void** out) { return CreateHostComponent<FileDataStream>(iid, out); }

} // namespace host
