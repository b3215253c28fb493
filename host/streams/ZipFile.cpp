#include "host/streams/ZipFile.h"

#include <algorithm>

#include "host/streams/ZipHandles.h"
#include "host/streams/ZipPacking.h"
#include "host/streams/ZipUnpacking.h"
#include "host/text/FileNameEncoding.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

// An archive without entries: the end record alone.
constexpr char kEmptyArchive[22] = {'P', 'K', 5, 6};

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
    std::string error;
    if (!PackFolder(m_archive, FileNameToBytes(ToWide(folder)), error)) return Fail(std::move(error));
    return Succeed();
}

HRESULT ZipFile::ExtractTo(IString* folder) {
    std::string error;
    if (!UnpackArchive(m_archive, FileNameToBytes(ToWide(folder)), error)) return Fail(std::move(error));
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
    std::string bytes = size ? std::string(static_cast<const char*>(data), size) : std::string();
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