#include "host/files/FileNameCollection.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "sdk/ScopedHandles.h"
#include "host/files/FileEntry.h"
#include "host/files/LocalWrite.h"
#include "host/runtime/EventLogLine.h"
#include "host/text/ErrnoText.h"
#include "host/text/FileNameEncoding.h"

namespace host {

namespace {


// A name as read from the folder: its bytes in the shared byte arena (each
// followed by a terminator for fstatat) and the type readdir reported.
struct RawName {
    uint32_t offset;
    uint32_t length;
    unsigned char type;
};

bool IsDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// What a listing takes in.
struct Kinds {
    bool files;
    bool folders;
};

// Whether an entry of this readdir type can belong in the listing at all;
// rules out most entries without a stat.
bool MayList(unsigned char type, Kinds kinds) {
    switch (type) {
    case DT_UNKNOWN: return true;
    case DT_DIR: return kinds.folders;
    case DT_REG: return kinds.files;
    case DT_LNK: return kinds.files; // a link is listed only as the file it points to
    default: return false;           // devices, pipes, sockets
    }
}

enum class Listed { Yes, No, Failed };

// Whether the entry belongs in the listing, with the status it is listed
// with. An entry that vanished since the folder was read, or a link whose
// target is missing or loops, is left out; any other failure to read a
// status fails the listing, so that an entry that exists is never taken for
// one that does not.
Listed ListedStatus(int dir, const char* name, unsigned char type, Kinds kinds, struct stat& st) {
    if (type == DT_UNKNOWN) {
        if (fstatat(dir, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT ? Listed::No : Listed::Failed;
        if (S_ISLNK(st.st_mode)) {
            if (!kinds.files) return Listed::No;
            type = DT_LNK;
        }
    }
    if (type != DT_UNKNOWN && fstatat(dir, name, &st, 0) != 0) {
        if (errno == ENOENT || (type == DT_LNK && errno == ELOOP)) return Listed::No;
        return Listed::Failed;
    }
    if (S_ISREG(st.st_mode)) return kinds.files ? Listed::Yes : Listed::No;
    return S_ISDIR(st.st_mode) && kinds.folders && type != DT_LNK ? Listed::Yes : Listed::No;
}

// Holds the collection's own lock for a scope.
class CollectionHold final {
public:
    explicit CollectionHold(INamedCollection& c) : m_c(c) { m_c.CollectionLock(); }
    ~CollectionHold() { m_c.CollectionUnlock(); }
    CollectionHold(const CollectionHold&) = delete;
    CollectionHold& operator=(const CollectionHold&) = delete;

private:
    INamedCollection& m_c;
};

} // namespace

HRESULT CreateFileNameCollection(const IID* iid, void** out) {
    return CreateHostComponent<FileNameCollection>(iid, out);
}

HRESULT FileNameCollection::put_Folder(IString* folder) {
    if (!folder) return E_POINTER;
    std::wstring text = ToWide(folder);
    std::lock_guard<std::mutex> hold(m_settingsLock);
    m_folder.swap(text);
    return S_OK;
}

HRESULT FileNameCollection::get_Folder(IString** folder) {
    if (!folder) return E_POINTER;
    std::wstring text;
    {
        std::lock_guard<std::mutex> hold(m_settingsLock);
        text = m_folder;
    }
    *folder = MakeString(text).Detach();
    return *folder ? S_OK : E_FAIL;
}

HRESULT FileNameCollection::put_Extensions(IExtCollection* extensions) {
    IPtr<ExtCollection> own;
    if (extensions) {
        auto* ours = dynamic_cast<ExtCollection*>(extensions);
        if (!ours) return E_INVALIDARG;
        own.Reset(ours);
    }
    std::lock_guard<std::mutex> hold(m_settingsLock);
    std::swap(m_extensions, own);
    return S_OK; // `own` releases the previous collection outside the lock
}

HRESULT FileNameCollection::put_Option(int32_t option, int32_t value) {
    std::lock_guard<std::mutex> hold(m_settingsLock);
    m_options[option] = value;
    return S_OK;
}

HRESULT FileNameCollection::get_Option(int32_t option, int32_t* value) {
    if (!value) return E_POINTER;
    std::lock_guard<std::mutex> hold(m_settingsLock);
    if (option == FILENAME_OPTION_SCAN_ERROR || option == FILENAME_OPTION_WORK_FILES) {
        *value = option == FILENAME_OPTION_SCAN_ERROR ? m_scanError : m_workFiles;
        return S_OK;
    }
    auto found = m_options.find(option);
    *value = found == m_options.end() ? 0 : found->second;
    return found == m_options.end() ? S_FALSE : S_OK;
}

HRESULT FileNameCollection::Scan() {
    std::lock_guard<std::mutex> scanning(m_scanLock);
    auto text = std::make_shared<ListingText>();
    ExtensionFilter filter;
    Kinds kinds;
    bool namesOnly;
    {
        std::lock_guard<std::mutex> hold(m_settingsLock);
        text->folder = m_folder;
        if (m_extensions) filter = m_extensions->Snapshot();
        const auto option = [this](int32_t which) {
            auto found = m_options.find(which);
            return found != m_options.end() && found->second != 0;
        };
        auto found = m_options.find(FILENAME_OPTION_FOLDERS);
        const int32_t listed = found == m_options.end() ? FILENAME_LIST_FILES : found->second;
        kinds = Kinds{listed != FILENAME_LIST_FOLDERS, listed != FILENAME_LIST_FILES};
        namesOnly = option(FILENAME_OPTION_NAMES_ONLY);
    }
    const auto fail = [this](int error) {
        ClearItems();
        std::lock_guard<std::mutex> hold(m_settingsLock);
        m_scanned = false;
        m_scanError = error != 0 ? error : EIO;
        m_workFiles = 0;
        return E_FAIL;
    };
    if (text->folder.empty()) return fail(ENOENT);
    ScopedDIR dir(opendir(FileNameToBytes(text->folder).c_str()));
    if (!dir) return fail(errno);

    // One pass over the folder collects the candidate names.
    std::string bytes;
    std::vector<RawName> raw;
    int32_t workFiles = 0;
    errno = 0;
    while (const dirent* e = readdir(dir.get())) {
        if (IsDotOrDotDot(e->d_name) || !MayList(e->d_type, kinds)) continue;
        const size_t length = std::strlen(e->d_name);
        if (kinds.files && e->d_type != DT_DIR && IsCopyWorkFileName(e->d_name, length)) {
            ++workFiles;
            continue;
        }
        if (bytes.size() + length + 1 > UINT32_MAX) return fail(EOVERFLOW);
        raw.push_back(RawName{static_cast<uint32_t>(bytes.size()), static_cast<uint32_t>(length), e->d_type});
        bytes.append(e->d_name, length + 1);
    }
    if (errno != 0) return fail(errno);

    const auto nameOf = [&bytes](const RawName& r) { return std::string_view(bytes).substr(r.offset, r.length); };
    std::sort(raw.begin(), raw.end(), [&](const RawName& a, const RawName& b) { return nameOf(a) < nameOf(b); });

    // Status and name of every entry that stays, in listing order. The
    // shared text is complete before the first entry exists.
    std::vector<FileEntryData> listed;
    listed.reserve(raw.size());
    text->names.reserve(bytes.size());
    for (const ExtensionEntry& e : filter.Entries()) text->patterns.push_back(e.pattern);
    const int dirFd = dirfd(dir.get());
    for (const RawName& r : raw) {
        FileEntryData data;
        data.nameOffset = static_cast<uint32_t>(text->names.size());
        AppendFileNameWide(nameOf(r), text->names);
        data.nameLength = static_cast<uint32_t>(text->names.size() - data.nameOffset);
        // The patterns apply to files and go first: a name they leave out
        // needs no stat unless it may be a folder.
        const bool filtered = kinds.files && !filter.Empty() && r.type != DT_DIR;
        if (filtered) data.pattern = filter.Find(std::wstring_view(text->names).substr(data.nameOffset));
        const bool mayBeFolder = kinds.folders && r.type == DT_UNKNOWN;
        if (filtered && data.pattern < 0 && !mayBeFolder) {
            text->names.resize(data.nameOffset);
            continue;
        }
        // A folder or regular file as the folder reports it is what its
        // status would say; links and unknown types are looked at.
        if (namesOnly && (r.type == DT_DIR || r.type == DT_REG)) {
            data.folder = r.type == DT_DIR;
            listed.push_back(data);
            continue;
        }
        struct stat st;
        Listed verdict = ListedStatus(dirFd, bytes.data() + r.offset, r.type, kinds, st);
        if (verdict == Listed::Yes && S_ISDIR(st.st_mode)) data.pattern = -1;
        else if (verdict == Listed::Yes && filtered && data.pattern < 0) verdict = Listed::No;
        if (verdict == Listed::Failed) return fail(errno);
        if (verdict == Listed::No) {
            text->names.resize(data.nameOffset);
            continue;
        }
        data.folder = S_ISDIR(st.st_mode);
        data.size = static_cast<int64_t>(st.st_size);
        data.modified = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
        data.mode = static_cast<int64_t>(st.st_mode);
        listed.push_back(data);
    }
    struct stat folderInfo {};
    const bool known = ::fstat(dirFd, &folderInfo) == 0;
    dir.reset();

    {
        std::lock_guard<std::mutex> hold(m_settingsLock);
        m_scanError = 0;
        m_workFiles = workFiles;
        m_scanned = known;
        m_device = static_cast<uint64_t>(folderInfo.st_dev);
        m_inode = static_cast<uint64_t>(folderInfo.st_ino);
    }
    std::shared_ptr<const ListingText> shared = std::move(text);
    // The old listing is replaced under the collection's lock, so that a
    // reader sees either the old or the whole new one.
    CollectionHold hold(*this);
    ClearItems();
    ReserveItems(listed.size());
    for (const FileEntryData& data : listed) {
        IPtr<IFileArchive> entry;
        HRESULT hr = CreateHostComponent<FileEntry>(entry, shared, data);
        if (FAILED(hr)) return hr;
        AppendItem(std::wstring_view(shared->names).substr(data.nameOffset, data.nameLength), entry.Get());
    }
    return S_OK;
}

HRESULT FileNameCollection::Transfer(IString* name, IDataStream* data) {
    if (!name || !data) return E_INVALIDARG;
    const std::wstring relative = ToWide(name);
    std::wstring folder;
    {
        std::lock_guard<std::mutex> hold(m_settingsLock);
        folder = m_folder;
    }
    if (!IsRelativeName(relative) || folder.empty()) return E_INVALIDARG;
    int64_t size = -1;
    const LocalContentReader read = ReaderOf(data, size);
    const LocalError error = WriteFileSafely(FileNameToBytes(folder), relative, read, size);
    if (!error) return S_OK;
    WriteEventLogError(L"FileNameCollection", L"cannot send " + relative + L" to " + folder + L": " + error.text);
    return E_FAIL;
}

HRESULT FileNameCollection::Delete(IString* pathOrName) {
    if (!pathOrName) return E_INVALIDARG;
    const std::wstring wanted = ToWide(pathOrName);
    if (wanted.empty()) return E_INVALIDARG;
    std::wstring folder;
    bool scanned;
    uint64_t device, inode;
    {
        std::lock_guard<std::mutex> hold(m_settingsLock);
        folder = m_folder;
        scanned = m_scanned;
        device = m_device;
        inode = m_inode;
    }
    const auto refuse = [&](const std::wstring& why) {
        WriteEventLogError(L"FileNameCollection", L"not deleted: " + wanted + L": " + why);
        return E_FAIL;
    };
    // The listing stays as it is from the search to the removal of the entry.
    CollectionHold hold(*this);
    int32_t index = -1;
    const FileEntry* entry = nullptr;
    for (int32_t i = 0; i < ItemCount() && !entry; ++i) {
        const auto* candidate = dynamic_cast<const FileEntry*>(ItemAt(i));
        if (candidate && !candidate->Data().folder && (candidate->Name() == wanted || candidate->Path() == wanted)) {
            entry = candidate;
            index = i;
        }
    }
    if (!entry) return refuse(L"no file of the listing of " + folder);
    ScopedFD dir(::open(FileNameToBytes(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat info {};
    if (!dir.IsOpen() || ::fstat(dir.Get(), &info) != 0) return refuse(L"cannot open " + folder + L": " + ErrnoText(errno));
    if (!scanned || static_cast<uint64_t>(info.st_dev) != device || static_cast<uint64_t>(info.st_ino) != inode)
        return refuse(L"the folder " + folder + L" is not the one listed");
    const std::string leaf = FileNameToBytes(entry->Name());
    // As listed: a link stands for the file it points to.
    if (::fstatat(dir.Get(), leaf.c_str(), &info, 0) != 0) return refuse(ErrnoText(errno));
    const int64_t modified = static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    if (!S_ISREG(info.st_mode) || static_cast<int64_t>(info.st_size) != entry->Data().size ||
        modified != entry->Data().modified)
        return refuse(L"the file changed since it was listed");
    if (::unlinkat(dir.Get(), leaf.c_str(), 0) != 0) return refuse(ErrnoText(errno));
    Remove(index);
    return S_OK;
}

} // namespace host
