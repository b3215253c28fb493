// "StringCollection": lines of text, kept as a collection and as a file.
//
//   IStringCollection  get_Count, get_Item (the line, an IString) and
//                      get_Line (the same, asked for IString)
//   ISuperCollection   the same items; a caller fills a list with Add (no
//                      key, the line as an IString)
//   IFileArchive       put_Filename only names the file; Load replaces the
//                      lines by the file's, read as LineFile.h says (one
//                      line per line, nothing unquoted: a reader of
//                      comma-separated fields splits them itself); Save
//                      writes the lines back through a work file renamed
//                      into place
//
// Load and Save answer E_FAIL when no file is named or the file cannot be
// read or written; a failed Load leaves the collection empty, a failed Save
// leaves the file as it was. The reason is not logged here: this family
// stands below the event log, and the caller decides what a missing file
// means.
#pragma once

#include <mutex>
#include <string>

#include "host/collections/ItemCollection.h"

namespace host {

class StringCollection final : public ItemCollectionImpl<IStringCollection, IFileArchive> {
public:
    StringCollection() = default;

    // IStringCollection; E_INVALIDARG for a bad index, E_FAIL for an item
    // that is no string.
    HRESULT get_Line(int32_t index, IString** line) override;

    // IFileArchive
    HRESULT get_Filename(IString** name) override;
    // A null name clears it.
    HRESULT put_Filename(IString* name) override;
    HRESULT get_Filter(IString** filter) override;
    // The file's name without its folder.
    HRESULT get_Name(IString** name) override;
    HRESULT Load() override;
    HRESULT Save() override;

private:
    ~StringCollection() override = default;

    std::wstring FileName();

    std::mutex m_nameLock;
    std::wstring m_fileName;
};

} // namespace host
