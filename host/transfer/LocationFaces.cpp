#include "host/transfer/LocationFaces.h"

#include <algorithm>
#include <memory>

#include "host/files/FileEntry.h"
#include "host/files/LocalWrite.h"
#include "host/runtime/EventLogLine.h"

namespace host {

std::wstring RelativeToLocation(std::wstring_view location, std::wstring_view pathOrName) {
    while (location.size() > 1 && location.back() == L'/') location.remove_suffix(1);
    if (!location.empty() && pathOrName.size() > location.size() && pathOrName.substr(0, location.size()) == location &&
        pathOrName[location.size()] == L'/')
        return std::wstring(pathOrName.substr(location.size() + 1));
    return std::wstring(pathOrName);
}

HRESULT TransferToLocation(ILocationScheme& scheme, const wchar_t* title, IString* name, IDataStream* data) {
    if (!name || !data) return E_INVALIDARG;
    const std::wstring relative = ToWide(name);
    if (!IsRelativeName(relative) || scheme.Location().empty()) return E_INVALIDARG;
    int64_t size = -1;
    const LocalContentReader read = ReaderOf(data, size);
    const TransferError error = scheme.PutFile(relative, read, size, nullptr);
    if (error.status == E_INVALIDARG) return E_INVALIDARG;
    if (FAILED(error.status)) {
        WriteEventLogError(title, L"cannot send " + relative + L": " + error.text);
        return E_FAIL;
    }
    return S_OK;
}

HRESULT DeleteFromLocation(ILocationScheme& scheme, const wchar_t* title, IString* pathOrName, std::wstring& removed) {
    if (!pathOrName) return E_INVALIDARG;
    const std::wstring location = scheme.Location();
    removed = RelativeToLocation(location, ToWide(pathOrName));
    if (!IsRelativeName(removed) || location.empty()) return E_INVALIDARG;
    // The contract counts a file that was not there as a failure, where
    // RemoveFile counts it as done: so look first.
    const size_t slash = removed.rfind(L'/');
    const std::wstring folder = slash == std::wstring::npos ? L"" : removed.substr(0, slash);
    const std::wstring leaf = slash == std::wstring::npos ? removed : removed.substr(slash + 1);
    std::vector<LocationEntry> entries;
    TransferError error = scheme.List(folder, entries);
    const bool present = std::any_of(entries.begin(), entries.end(),
                                     [&](const LocationEntry& e) { return !e.folder && e.name == leaf; });
    if (SUCCEEDED(error.status) && !present) {
        WriteEventLogError(title, L"cannot remove " + removed + L": no such file");
        return E_FAIL;
    }
    if (SUCCEEDED(error.status)) error = scheme.RemoveFile(removed);
    if (FAILED(error.status)) {
        WriteEventLogError(title, L"cannot remove " + removed + L": " + error.text);
        return E_FAIL;
    }
    return S_OK;
}

HRESULT ScanLocation(ILocationScheme& scheme, int32_t listed,
                     const std::function<void(std::wstring_view name, IUnknown* entry)>& add) {
    std::vector<LocationEntry> entries;
    if (scheme.Location().empty() || FAILED(scheme.List(L"", entries).status)) return E_FAIL;
    std::sort(entries.begin(), entries.end(),
              [](const LocationEntry& a, const LocationEntry& b) { return a.name < b.name; });
    auto text = std::make_shared<ListingText>();
    text->folder = scheme.Location();
    std::vector<FileEntryData> kept;
    for (const LocationEntry& e : entries) {
        const bool wanted = e.folder ? listed != FILENAME_LIST_FILES : listed != FILENAME_LIST_FOLDERS;
        if (!wanted) continue;
        FileEntryData data;
        data.nameOffset = static_cast<uint32_t>(text->names.size());
        data.nameLength = static_cast<uint32_t>(e.name.size());
        data.folder = e.folder;
        data.size = e.size < 0 ? 0 : e.size;
        data.modified = e.modified;
        text->names += e.name;
        kept.push_back(data);
    }
    std::shared_ptr<const ListingText> shared = std::move(text);
    for (const FileEntryData& data : kept) {
        IPtr<IFileArchive> entry;
        if (FAILED(CreateHostComponent<FileEntry>(entry, shared, data))) return E_FAIL;
        add(std::wstring_view(shared->names).substr(data.nameOffset, data.nameLength), entry.Get());
    }
    return S_OK;
}

} // namespace host
