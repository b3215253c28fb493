// The faces every location scheme ("URLFile", "URLhttp") shows components,
// written once over its ILocationScheme (LocationScheme.h):
//   - IFileArchiveScheme::Transfer: PutFile with a reader over the data
//     stream's Read, the stream's length announced (so a stream that ends
//     early fails the transfer);
//   - IFileArchiveScheme::Delete: RemoveFile, a full path or URL under the
//     location first reduced to its relative name; a file that is not there
//     is a failure here (E_FAIL), as the contract of Delete says;
//   - the location as a listing (sdk/Transfer.h): IFileNameCollection,
//     ISuperCollection, IUIRefreshableObject and IUIManager on the same
//     object. Scan lists the location's top level through List; entries are
//     the files folders give (host/files/FileEntry.h) with the location as
//     folder, so get_Filename is the entry's full path or URL. Option 11
//     chooses files (0), folders (1) or both (2); the extension filter is
//     not applied (put_Extensions keeps nothing). A Delete that succeeds
//     takes the entry of that name out of the listing.
// Failures of Transfer and Delete are written to "EventLogGlobal" with the
// scheme's texts, which never carry a password.
//
// A scheme derives from LocationListing<its other faces...> and gives
// SetLocation, which put_Folder calls (the folder and the "HOSTNAME"
// setting name the same location; the one given last holds).
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/collections/ItemCollection.h"
#include "host/transfer/LocationScheme.h"

namespace host {

// The relative name `pathOrName` stands for under `location`: a full path
// or URL that begins with the location and "/" loses that beginning; any
// other text is taken as it is. The caller still checks the name.
std::wstring RelativeToLocation(std::wstring_view location, std::wstring_view pathOrName);

// Transfer and Delete of IFileArchiveScheme over `scheme`; `title` heads the
// event log line of a failure. DeleteFromLocation gives the relative name
// it removed in `removed`.
HRESULT TransferToLocation(ILocationScheme& scheme, const wchar_t* title, IString* name, IDataStream* data);
HRESULT DeleteFromLocation(ILocationScheme& scheme, const wchar_t* title, IString* pathOrName,
                           std::wstring& removed);

// Lists the location's top level and hands each entry kept to `add` in
// name order (`listed`: FILENAME_LIST_FILES, _FOLDERS or _BOTH). E_FAIL,
// and nothing added, when the location cannot be listed.
HRESULT ScanLocation(ILocationScheme& scheme, int32_t listed,
                     const std::function<void(std::wstring_view name, IUnknown* entry)>& add);

template <class... Extra>
class LocationListing : public ItemCollectionImpl<IFileNameCollection, IFileArchiveScheme, IUIRefreshableObject,
                                                  IUIManager, ILocationScheme, Extra...> {
    using Base = ItemCollectionImpl<IFileNameCollection, IFileArchiveScheme, IUIRefreshableObject, IUIManager,
                                    ILocationScheme, Extra...>;

public:
    explicit LocationListing(const wchar_t* title) : Base(NameMatch::Exact), m_title(title) {}

    // IFileArchiveScheme
    HRESULT Transfer(IString* name, IDataStream* data) override {
        return TransferToLocation(*this, m_title, name, data);
    }
    HRESULT Delete(IString* pathOrName) override {
        std::wstring removed;
        const HRESULT hr = DeleteFromLocation(*this, m_title, pathOrName, removed);
        if (hr == S_OK) {
            const int32_t index = this->FindName(removed);
            if (index >= 0) this->Remove(index);
        }
        return hr;
    }

    // IFileNameCollection
    HRESULT put_Folder(IString* folder) override {
        if (!folder) return E_POINTER;
        SetLocation(ToWide(folder));
        return S_OK;
    }
    HRESULT get_Folder(IString** folder) override {
        if (!folder) return E_POINTER;
        *folder = MakeString(this->Location()).Detach();
        return *folder ? S_OK : E_FAIL;
    }
    HRESULT put_Extensions(IExtCollection*) override { return S_OK; }
    HRESULT put_Option(int32_t option, int32_t value) override {
        std::lock_guard guard(m_optionsLock);
        m_options[option] = value;
        return S_OK;
    }
    HRESULT get_Option(int32_t option, int32_t* value) override {
        if (!value) return E_POINTER;
        std::lock_guard guard(m_optionsLock);
        auto found = m_options.find(option);
        *value = found == m_options.end() ? 0 : found->second;
        return found == m_options.end() ? S_FALSE : S_OK;
    }
    // Replaces the items by a new listing; E_FAIL (and no items) when the
    // location cannot be listed.
    HRESULT Scan() override {
        int32_t listed = 0;
        get_Option(FILENAME_OPTION_FOLDERS, &listed);
        std::vector<std::pair<std::wstring, IPtr<IUnknown>>> entries;
        const HRESULT hr = ScanLocation(*this, listed, [&](std::wstring_view name, IUnknown* entry) {
            entries.emplace_back(std::wstring(name), IPtr<IUnknown>(entry));
        });
        this->CollectionLock();
        this->ClearItems();
        this->ReserveItems(entries.size());
        for (const auto& [name, entry] : entries) this->AppendItem(name, entry.Get());
        this->CollectionUnlock();
        return hr;
    }

    // IUIRefreshableObject and IUIManager: the listing stays as it is.
    HRESULT Refresh(int32_t) override { return S_OK; }
    HRESULT Update(int32_t) override { return S_OK; }

protected:
    ~LocationListing() override = default;
    virtual void SetLocation(std::wstring location) = 0;

private:
    const wchar_t* m_title;
    std::mutex m_optionsLock;
    std::map<int32_t, int32_t> m_options;
};

} // namespace host
