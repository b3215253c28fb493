// Helpers shared by the tests of the host's persistence streams.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "HostTestSupport.h"
#include "host/GlobalComponentCollection.h"
#include "host/HostStrings.h"
#include "host/StreamErrorText.h"

namespace streamtest {

using hosttest::Make;

inline tagREFString View(const std::wstring& text) {
    return tagREFString{static_cast<int32_t>(text.size()), const_cast<wchar_t*>(text.data())};
}

inline std::wstring Text(IString* s) { return host::ToWide(s); }

// The content of a data stream, as GetStream gives it.
inline std::string Content(IUnknown* stream) {
    IPtr<IDataStream> data = QueryAs<IDataStream>(stream, IID_IDataStream);
    void* bytes = nullptr;
    unsigned long size = 0;
    if (!data || FAILED(data->GetStream(&bytes, &size))) return "<no content>";
    return std::string(static_cast<const char*>(bytes), size);
}

inline HRESULT WriteBytes(IUnknown* stream, const std::string& bytes) {
    IPtr<IDataStream> data = QueryAs<IDataStream>(stream, IID_IDataStream);
    unsigned int written = 0;
    return data->Write(bytes.data(), static_cast<unsigned int>(bytes.size()), &written);
}

inline std::string ErrorText(IUnknown* stream) { return host::ToUtf8(host::StreamErrorText(stream)); }

// A private folder removed with everything in it at the end of the test.
class TempDir final {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "hoststreams-XXXXXX").string();
        if (!mkdtemp(pattern.data())) ADD_FAILURE() << "mkdtemp failed";
        m_path = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string File(const std::string& name) const { return (m_path / name).string(); }
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

inline void SetFilename(IUnknown* stream, const std::string& path) {
    IPtr<IFileArchive> archive = QueryAs<IFileArchive>(stream, IID_IFileArchive);
    ASSERT_TRUE(archive);
    ASSERT_EQ(archive->put_Filename(host::MakeString(host::FromUtf8(path)).Get()), S_OK);
}

} // namespace streamtest
