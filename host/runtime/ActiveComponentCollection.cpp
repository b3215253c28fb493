#include "host/runtime/ActiveComponentCollection.h"

#include <sys/stat.h>

#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "host/base/HostObject.h"
#include "host/collections/ItemCollection.h"
#include "host/collections/LineFile.h"
#include "host/runtime/ComponentString.h"
#include "host/text/ErrnoText.h"
#include "host/runtime/ComponentUse.h"
#include "host/runtime/EventLogLine.h"
#include "host/runtime/GlobalComponentCollection.h"
#include "host/runtime/ModuleLoader.h"
#include "host/text/Utf8.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

constexpr wchar_t kTitle[] = L"ActiveComponentCollection";
constexpr wchar_t kBinFolder[] = L"_binARM64/";
constexpr wchar_t kLibrarySuffix[] = L".so";
constexpr wchar_t kCompanionSuffix[] = L".manifest";

HRESULT ReturnString(std::wstring_view text, IString** out) {
    if (!out) return E_POINTER;
    *out = MakeString(text).Detach();
    return *out ? S_OK : E_FAIL;
}

// The library's base name of a module: a bare name as it is, a path's last
// part without ".so".
std::wstring LibraryName(const std::wstring& module) {
    const size_t slash = module.rfind(L'/');
    if (slash == std::wstring::npos) return module;
    std::wstring name = module.substr(slash + 1);
    const size_t suffix = std::wcslen(kLibrarySuffix);
    if (name.size() > suffix && name.compare(name.size() - suffix, suffix, kLibrarySuffix) == 0)
        name.resize(name.size() - suffix);
    return name;
}

// "_binARM64/<name>.so.manifest" when that file lies beside the module's
// library as a regular file (a link to one counts), else empty.
std::wstring CompanionOf(const std::wstring& module, const std::wstring& name) {
    const std::string library = ModulePath(module);
    struct stat st {};
    if (::stat((library + ".manifest").c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return {};
    return std::wstring(kBinFolder) + name + kLibrarySuffix + kCompanionSuffix;
}

bool FitsInList(std::wstring_view name) { return name.find_first_of(L",\r\n") == std::wstring_view::npos; }

class ActiveComponentCollection final : public HostObject<IComponentCollection, IFileArchive> {
public:
    ActiveComponentCollection() {
        IPtr<ISuperCollection> items = NewCollection();
        m_items.Reset(static_cast<ItemCollectionImpl<>*>(items.Get()));
    }

    // ---- ISimpleCollection, INamedCollection
    HRESULT get_Count(int32_t* count) override { return Synced().get_Count(count); }
    HRESULT get_Item(int32_t index, IUnknown** item) override { return Synced().get_Item(index, item); }
    HRESULT get_Index(IUnknown* key, int32_t* index) override { return Synced().get_Index(key, index); }
    HRESULT get_ItemName(int32_t index, IString** name) override { return Synced().get_ItemName(index, name); }
    HRESULT Rename(int32_t, IString*) override { return E_FAIL; }
    HRESULT CollectionLock() override { return m_items->CollectionLock(); }
    HRESULT CollectionUnlock() override { return m_items->CollectionUnlock(); }
    HRESULT IsCollectionLocked() override { return m_items->IsCollectionLocked(); }

    // ---- IComponentCollection
    HRESULT CreateComponent(tagREFString name, const IID* iid, void** out) override {
        return GlobalCollection()->CreateComponent(name, iid, out);
    }
    HRESULT LoadModule(tagREFString module) override { return GlobalCollection()->LoadModule(module); }

    // ---- IFileArchive
    HRESULT get_Filename(IString** name) override { return ReturnString(FileName(), name); }
    HRESULT put_Filename(IString* name) override {
        std::wstring text = ToWide(name);
        std::lock_guard<std::mutex> hold(m_mutex);
        m_fileName.swap(text);
        return S_OK;
    }
    HRESULT get_Filter(IString** filter) override {
        return ReturnString(L"Component lists (*.csv)|*.csv", filter);
    }
    HRESULT get_Name(IString** name) override {
        const std::wstring file = FileName();
        const size_t slash = file.rfind(L'/');
        return ReturnString(slash == std::wstring::npos ? file : file.substr(slash + 1), name);
    }
    HRESULT Load() override { return E_NOTIMPL; }
    HRESULT Save() override;

private:
    ~ActiveComponentCollection() override = default;

    std::wstring FileName() {
        std::lock_guard<std::mutex> hold(m_mutex);
        return m_fileName;
    }

    // The items, with the uses noted since the last look appended.
    ItemCollectionImpl<>& Synced() {
        std::lock_guard<std::mutex> hold(m_mutex);
        for (ComponentUse& use : ComponentsInUse(static_cast<size_t>(m_items->ItemCount())))
            m_items->AppendItem(use.component, NewComponentString(use.component, use.module).Get());
        return *m_items.Get();
    }

    std::mutex m_mutex; // the file name, and appending to the items
    std::wstring m_fileName;
    IPtr<ItemCollectionImpl<>> m_items;
};

HRESULT ActiveComponentCollection::Save() {
    std::vector<std::wstring> lines;
    std::set<std::wstring> listed;
    for (const ComponentUse& use : ComponentsInUse()) {
        if (!listed.insert(use.module).second) continue;
        const std::wstring name = LibraryName(use.module);
        if (!FitsInList(name)) {
            WriteEventLogError(kTitle, L"a module name a components list cannot hold is left out: " + name);
            continue;
        }
        lines.push_back(name + L"," + CompanionOf(use.module, name));
    }
    const std::wstring file = FileName();
    if (file.empty()) {
        WriteEventLogError(kTitle, L"the components list has no file name");
        return E_FAIL;
    }
    if (const int error = WriteLines(file, lines)) {
        WriteEventLogError(kTitle, L"cannot write the components list " + file + L": " +
                                       SystemErrorText(error));
        return E_FAIL;
    }
    return S_OK;
}

} // namespace

HRESULT CreateActiveComponentCollection(const IID* iid, void** out) {
    return CreateHostComponent<ActiveComponentCollection>(iid, out);
}

} // namespace host
