// "FileNameCollection": the listing of one folder, either its files or its
// sub-folders, as a collection of FileEntry items named after the entries.
//
// Scan reads the folder in one pass and lists, sorted by the bytes of the
// names (so that runs are reproducible):
//   - with option 11 at 0 (the default): the regular files, and the
//     symbolic links to regular files (with the size and time of the file
//     they point to);
//   - with option 11 at any other value: the sub-folders. A symbolic link
//     to a folder is never listed, so that a walk down the tree cannot loop
//     or leave it.
// Dangling links, links to folders (in the file listing too), devices,
// pipes and sockets are never listed: a reader would block on a pipe or
// copy a device without end.
// File names are filtered by the patterns of the attached "ExtCollection":
// a name is listed when one pattern matches it; without an extension
// collection, or with an empty one, every name is listed. Folder names are
// not filtered, so that a walk reaches every sub-folder.
// Copy work files (see IsCopyWorkFileName) are never listed; the file
// listing counts them, and get_Option answers the count for
// FILENAME_OPTION_WORK_FILES and the system's error number of a failed scan
// for FILENAME_OPTION_SCAN_ERROR.
// An entry that vanishes while the folder is read is left out; any other
// entry whose status cannot be read fails the scan (a listing never omits
// an entry that exists).
// Names are matched exactly in get_Index and FindName, as the file system
// does. Other option numbers (18, 22, 24, 25 among them) are accepted and
// kept for the caller and do not change the listing.
//
// The listing is also a location (sdk/Transfer.h), its folder:
//   - Transfer(name, data) writes the data under the folder with
//     WriteFileSafely (LocalWrite.h): work file beside the target, flushed,
//     renamed over it; no link below the folder followed; missing folders
//     made. The listing itself is not changed.
//   - Delete(pathOrName) removes the file of one entry of the current
//     listing, named by its full path or its name, and takes the entry out
//     (the entries after it move up). It refuses (E_FAIL, the reason in
//     "EventLogGlobal") a name that is no file entry of the listing, a
//     folder that is no longer the one scanned (device and inode), and a
//     file whose size or modification time is no longer what the listing
//     recorded: whoever read the entry may have had a stale copy of it.
//   - put_Parameters keeps nothing: the folder is the location.
//   - IUIRefreshableObject::Refresh and IUIManager::Update keep the listing
//     as it is (S_OK).
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "host/collections/ItemCollection.h"
#include "host/files/ExtCollection.h"

namespace host {

class FileNameCollection final
    : public ItemCollectionImpl<IFileNameCollection, IFileArchiveScheme, IUIRefreshableObject, IUIManager> {
public:
    FileNameCollection() : ItemCollectionImpl(NameMatch::Exact) {}

    // E_POINTER for a null folder.
    HRESULT put_Folder(IString* folder) override;
    HRESULT get_Folder(IString** folder) override;
    // Null removes the filter. Only the host's own "ExtCollection" can be
    // read; another implementation is refused with E_INVALIDARG. Its
    // patterns are read when Scan runs.
    HRESULT put_Extensions(IExtCollection* extensions) override;
    HRESULT put_Option(int32_t option, int32_t value) override;
    // S_FALSE and 0 for an option never set.
    HRESULT get_Option(int32_t option, int32_t* value) override;
    // Replaces the items by a new listing; E_FAIL (and no items) when the
    // folder cannot be opened or read, or an entry's status cannot be read.
    HRESULT Scan() override;

    // IFileArchiveScheme
    HRESULT put_Parameters(IParameters*) override { return S_OK; }
    HRESULT Transfer(IString* name, IDataStream* data) override;
    HRESULT Delete(IString* pathOrName) override;

    HRESULT Refresh(int32_t) override { return S_OK; }
    HRESULT Update(int32_t) override { return S_OK; }

private:
    ~FileNameCollection() override = default;

    std::mutex m_settingsLock; // folder, extensions, options
    std::mutex m_scanLock;     // one scan at a time
    std::wstring m_folder;
    IPtr<ExtCollection> m_extensions;
    std::map<int32_t, int32_t> m_options;
    int32_t m_scanError = 0; // facts of the last scan
    int32_t m_workFiles = 0;
    bool m_scanned = false; // the folder the last good scan read
    uint64_t m_device = 0;
    uint64_t m_inode = 0;
};

} // namespace host
