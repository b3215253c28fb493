#include "host/streams/CSVStream.h"

#include <string>

#include "host/base/HostObject.h"
#include "host/streams/ByteBuffer.h"
#include "host/streams/StreamErrorText.h"
#include "host/streams/StreamFaces.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

class CSVStream final : public HostObject<ICSVStream, IDataStream, FileArchiveFace, IStreamErrorText> {
public:
    CSVStream() = default;

    // ---- ICSVStream
    HRESULT WriteChars(const wchar_t* text, unsigned int bytes) override {
        const size_t count = bytes / 2;
        if (!count) return S_OK;
        if (!text) return E_POINTER;
        const std::string utf8 = ToUtf8(std::wstring_view(text, count));
        // Text is always added at the end, wherever a read left the position.
        unsigned long end = 0;
        HRESULT hr = m_bytes.Seek(0, 2, &end);
        if (SUCCEEDED(hr)) hr = m_bytes.Write(utf8.data(), static_cast<unsigned int>(utf8.size()), nullptr);
        return hr;
    }

    // ---- IDataStream
    HRESULT Create(void* buffer, unsigned long size, short growable) override {
        return m_bytes.Create(buffer, size, growable != 0);
    }
    HRESULT Reset(short clear) override { return m_bytes.Reset(clear != 0); }
    HRESULT Seek(long offset, unsigned int origin, unsigned long* position) override {
        return m_bytes.Seek(offset, origin, position);
    }
    HRESULT GetStream(void** data, unsigned long* size) override { return m_bytes.GetStream(data, size); }
    HRESULT Read(void* data, unsigned int size, unsigned int* read) override { return m_bytes.Read(data, size, read); }
    HRESULT Write(const void* data, unsigned int size, unsigned int* written) override {
        return m_bytes.Write(data, size, written);
    }

    // ---- IFileArchive
    HRESULT Load() override {
        if (!m_file.HasFile()) return Fail("no file name is set");
        std::string content;
        if (!ReadWholeFile(m_file.Path(), content, m_error)) return E_FAIL;
        m_bytes.Assign(content);
        m_error.clear();
        return S_OK;
    }
    HRESULT Save() override {
        if (!ReplaceFile(m_file.Path(), m_bytes.View(), m_error)) return E_FAIL;
        m_error.clear();
        return S_OK;
    }

    // ---- IStreamErrorText
    HRESULT get_ErrorText(IString** text) override { return AnswerErrorText(m_error, text); }

protected:
    ArchiveFile& Archive() override { return m_file; }

private:
    HRESULT Fail(std::string message) {
        m_error = std::move(message);
        return E_FAIL;
    }

    ByteBuffer m_bytes;
    ArchiveFile m_file{L"CSV Files (*.csv)|*.csv|All Files (*.*)|*.*||"};
    std::string m_error;
};

} // namespace

HRESULT CreateCSVStream(const IID* iid, void** out) { return CreateHostComponent<CSVStream>(iid, out); }

} // namespace host
