// One entry of a folder listing ("FileNameCollection"): a file or a folder
// as it was when the folder was scanned.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/HostObject.h"

namespace host {

// The text that all entries of one scan share: the folder, every entry's
// name back to back, and the patterns that selected them. Entries keep it
// alive, so they stay usable after the listing is scanned again or goes.
struct ListingText {
    std::wstring folder;
    std::wstring names;
    std::vector<std::wstring> patterns;
};

struct FileEntryData {
    uint32_t nameOffset = 0; // into ListingText::names
    uint32_t nameLength = 0;
    int32_t pattern = -1; // into ListingText::patterns; -1: no pattern applied
    bool folder = false;
    int64_t size = 0;
    int64_t modified = 0; // nanoseconds since the epoch
    int64_t mode = 0;
};

// Answers IFileArchive for its path and name, and IFileAttributes:
//   1 size in bytes, 2 modification time in nanoseconds since the epoch,
//   3 mode bits (type and permissions), 4 folder flag (1 for a folder).
// An entry describes a file; it neither loads, saves nor renames one, so
// put_Filename, Load and Save answer E_NOTIMPL.
class FileEntry final : public HostObject<IFileArchive, IFileAttributes> {
public:
    FileEntry(std::shared_ptr<const ListingText> text, const FileEntryData& data)
        : m_text(std::move(text)), m_data(data) {}

    std::wstring_view Name() const {
        return std::wstring_view(m_text->names).substr(m_data.nameOffset, m_data.nameLength);
    }
    // The folder, "/" and the name; no second "/" when the folder ends in one.
    std::wstring Path() const;
    const FileEntryData& Data() const { return m_data; }

    // IFileArchive
    HRESULT get_Filename(IString** name) override;
    HRESULT put_Filename(IString* name) override;
    // The pattern that selected the entry, "*" when none applied.
    HRESULT get_Filter(IString** filter) override;
    HRESULT get_Name(IString** name) override;
    HRESULT Load() override;
    HRESULT Save() override;

    // IFileAttributes; E_INVALIDARG for another attribute number.
    HRESULT get_Attribute(int32_t which, int64_t* value) override;

private:
    ~FileEntry() override = default;

    std::shared_ptr<const ListingText> m_text;
    FileEntryData m_data;
};

} // namespace host
