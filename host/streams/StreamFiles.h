// File access shared by the persistence streams: reading a whole file and
// replacing a file's content safely, plus the file-name part of IFileArchive.
#pragma once

#include <string>
#include <string_view>

#include "sdk/Framework.h"

namespace host {

// Reads the whole file. On failure returns false and a message naming the
// file and the system's reason.
bool ReadWholeFile(const std::string& path, std::string& content, std::string& error);

// Writes `content` to a new temporary file beside `path` and renames it over
// `path`, so that a failed write never leaves a half-written file behind.
bool ReplaceFile(const std::string& path, std::string_view content, std::string& error);

// The file name, filter and display name of a file-backed stream.
class ArchiveFile final {
public:
    explicit ArchiveFile(std::wstring filter) : m_filter(std::move(filter)) {}

    HRESULT get_Filename(IString** name) const;
    HRESULT put_Filename(IString* name);
    HRESULT get_Filter(IString** filter) const;
    // The file's name without its folder (empty when no file is set).
    HRESULT get_Name(IString** name) const;

    bool HasFile() const { return !m_filename.empty(); }
    // The file name as UTF-8, for the file-system calls.
    std::string Path() const;

private:
    std::wstring m_filename;
    std::wstring m_filter;
};

} // namespace host
