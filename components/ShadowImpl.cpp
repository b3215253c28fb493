#include "components/ShadowImpl.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cwctype>
#include <string>

#include "components/FileSystem.h"
#include "core/Helpers.h"

namespace {

// Listing options of the folder scans: files or sub-folders.
constexpr int32_t kListFolders = 1;
constexpr int32_t kListFiles = 0;

// The text of a host string as a view (empty for null).
CREFString View(IString* text) { return CREFString(text); }

// Skips leading white space, control characters and the first characters
// of byte-order marks (254, 239), which pasted paths often carry.
CREFString TrimPath(CREFString path) {
    while (path.m_Length > 0) {
        const wchar_t c = *path.m_pString;
        if (!std::iswspace(c) && !std::iswcntrl(c) && c != 254 && c != 239) break;
        ++path.m_pString;
        --path.m_Length;
    }
    return path;
}

// "folder/name" as a new host string.
IPtr<IString> JoinPath(const CREFString& folder, const CREFString& name) {
    std::wstring path;
    path.reserve(static_cast<size_t>(folder.m_Length + name.m_Length + 1));
    if (folder.m_Length > 0) path.append(folder.m_pString, static_cast<size_t>(folder.m_Length));
    path.push_back(L'/');
    if (name.m_Length > 0) path.append(name.m_pString, static_cast<size_t>(name.m_Length));
    return IPtr<IString>::Adopt(ISCreate(path.c_str()));
}

// One scan of a folder through the host's listing service: its files (with
// every entry treated as kind `kind`) or its sub-folders.
struct Listing {
    IPtr<IFileNameCollection> names;
    IPtr<ISuperCollection> entries;
    HRESULT status = E_FAIL;

    int32_t Count() const {
        int32_t count = 0;
        if (!entries || FAILED(entries->get_Count(&count))) return 0;
        return count;
    }
    // The index of the entry of this name, or -1.
    int32_t Find(IString* name) const {
        int32_t index = -1;
        if (!entries || FAILED(entries->get_Index(name, &index))) return -1;
        return index;
    }
    IPtr<IString> Name(int32_t index) const {
        IPtr<IString> name;
        entries->get_ItemName(index, name.Out());
        return name;
    }
    int64_t Attribute(int32_t index, int32_t which) const {
        IPtr<IUnknown> entry;
        int64_t value = 0;
        if (FAILED(entries->get_Item(index, entry.Out()))) return 0;
        IPtr<IFileAttributes> attributes = entry.Query<IFileAttributes>(IID_IFileAttributes);
        if (attributes) attributes->get_Attribute(which, &value);
        return value;
    }
};

IPtr<IExtCollection> AllEntriesAs(const wchar_t* kind) {
    IPtr<IExtCollection> extensions = CreateHostObject<IExtCollection>(L"ExtCollection", IID_IExtCollection);
    if (extensions) extensions->AddExtension(REFLiteral(L"*"), REFLiteral(kind));
    return extensions;
}

Listing Scan(IString* folder, IExtCollection* extensions, int32_t folders) {
    Listing listing;
    listing.names = CreateHostObject<IFileNameCollection>(L"FileNameCollection", IID_IFileNameCollection);
    if (!listing.names) return listing;
    listing.names->put_Folder(folder);
    if (extensions) listing.names->put_Extensions(extensions);
    listing.names->put_Option(25, 0);
    listing.names->put_Option(18, 0);
    listing.names->put_Option(FILENAME_OPTION_FOLDERS, folders);
    listing.names->put_Option(22, 1);
    listing.status = listing.names->Scan();
    listing.entries = listing.names.Query<ISuperCollection>(IID_ISuperCollection);
    if (SUCCEEDED(listing.status) && !listing.entries) listing.status = E_NOINTERFACE;
    return listing;
}

// The two listings of one level, the destination's on the side thread when
// that pays: handing work to another thread costs some tens of microseconds,
// more than listing a folder of a few entries. Sibling folders tend to be
// alike, so the size of the last destination listing decides for the next.
void ListBoth(SideThread& side, std::atomic<int32_t>& lastSize, IString* source, IString* destination,
              IExtCollection* extensions, int32_t folders, Listing& sources, Listing& targets) {
    constexpr int32_t kWorthHandingOff = 16;
    const auto listSource = [&] { sources = Scan(source, extensions, folders); };
    const auto listTarget = [&] { targets = Scan(destination, extensions, folders); };
    if (lastSize.load(std::memory_order_relaxed) >= kWorthHandingOff) {
        side.RunBoth(listSource, listTarget);
    } else {
        listSource();
        listTarget();
    }
    lastSize.store(targets.Count(), std::memory_order_relaxed);
}

void RemoveFile(const tagREFString& path) { std::remove(OSPath(path).get()); }
void RemoveFolder(const tagREFString& path) { ::rmdir(OSPath(path).get()); }

} // namespace

HRESULT CShadow::FinalConstruct() {
    DeclareInput(L"UILineDisplayable", IID_IUILineDisplayable);
    struct Declaration {
        const wchar_t* name;
        bool text;
        int32_t value;
        int32_t flags;
    };
    static constexpr Declaration kParameters[] = {
        {L"SourcePath", true, 0, 0x26},   {L"DestinationPath", true, 0, 0x26},
        {L"CleanOlderFiles", false, 0, 0x13}, {L"CopyNewOnly", false, 1, 0x13},
        {L"CopySubFolders", false, 1, 0x13},
    };
    for (const Declaration& d : kParameters) {
        CollectionLock();
        if (d.text) AddTextParameter(d.name, L"", d.flags);
        else AddIntegerParameter(d.name, d.value, d.flags);
        CollectionUnlock();
    }
    return S_OK;
}

HRESULT CShadow::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage"});
}

HRESULT CShadow::GetCopyStatistics(int32_t* files, double* bytes) {
    if (files) *files = m_CopyStatistics.Files();
    if (bytes) *bytes = m_CopyStatistics.Bytes();
    return S_OK;
}

HRESULT CShadow::GetDeleteStatistics(int32_t* files, double* bytes) {
    if (files) *files = m_DeleteStatistics.Files();
    if (bytes) *bytes = m_DeleteStatistics.Bytes();
    return S_OK;
}

void CShadow::SetTitle(const wchar_t* title) { m_Title.Attach(ISCreate(title)); }

void CShadow::Line(IUILineDisplayable* sink, const wchar_t* text, uint32_t kind) {
    if (!sink) return;
    IPtr<IString> line = IPtr<IString>::Adopt(ISCreate(text));
    sink->DisplayLine(m_Title.Get(), line.Get(), kind);
}

void CShadow::Line(IUILineDisplayable* sink, const wchar_t* prefix, const tagREFString& path, uint32_t kind) {
    if (!sink) return;
    std::wstring text(prefix);
    if (path.m_Length > 0) text.append(path.m_pString, static_cast<size_t>(path.m_Length));
    Line(sink, text.c_str(), kind);
}

HRESULT CShadow::Shadow(IString* source, IString* destination, short copyNewOnly, short subFolders, short clean,
                        IUnknown* display) {
    IPtr<IUILineDisplayable> sink = QueryAs<IUILineDisplayable>(display, IID_IUILineDisplayable);
    if (source && destination) {
        SetTitle(L"Shadow Copy");
        const HRESULT copied = Copy(source, destination, copyNewOnly, subFolders, sink.Get(), nullptr);
        if (clean && SUCCEEDED(copied)) {
            SetTitle(L"Shadow Del");
            Clean(source, destination, sink.Get(), nullptr, subFolders);
        }
    } else if (clean && destination) {
        // The guard of more than 3 characters keeps a root or a very short
        // path from being removed.
        if (TrimPath(View(destination)).m_Length > 3) Remove(destination, sink.Get(), 0, nullptr);
    }
    return S_OK;
}

HRESULT CShadow::Execute(CStopEvent* stop) {
    IPtr<IUnknown> display = InputValue(0);
    IPtr<IUILineDisplayable> sink = QueryAs<IUILineDisplayable>(display.Get(), IID_IUILineDisplayable);

    // A path parameter counts only when its variant holds a value.
    auto pathParameter = [this](int32_t index) {
        IPtr<IVariant> value;
        int32_t type = 0;
        if (FAILED(get_ItemVariant(index, value.Out())) || !value || value->get_Type(&type) == 0) return IPtr<IString>();
        return IPtr<IString>::Adopt(ISCreate(value.Get()));
    };
    IPtr<IString> sourceText = pathParameter(kSourcePath);
    IPtr<IString> destination = pathParameter(kDestinationPath);
    const int32_t clean = ParameterInteger(kCleanOlderFiles);
    const short copyNewOnly = static_cast<short>(ParameterInteger(kCopyNewOnly));
    const short subFolders = static_cast<short>(ParameterInteger(kCopySubFolders));

    m_Executing.store(1, std::memory_order_release);
    m_CopyStatistics.Clear();
    m_DeleteStatistics.Clear();
    struct ExecutingFlag {
        std::atomic<int16_t>& flag;
        ~ExecutingFlag() { flag.store(0, std::memory_order_release); }
    } executing{m_Executing};

    CREFString trimmed = TrimPath(View(sourceText.Get()));
    CREFString target = View(destination.Get());
    if (target.m_Length <= 0) return E_FAIL;
    IPtr<IString> source = IPtr<IString>::Adopt(ISCreate(static_cast<const tagREFString&>(trimmed)));

    if (trimmed.m_Length <= 0) {
        if (!clean) return S_OK;
        SetTitle(L"Delete Folder)");
        if (!CStopEvent::Requested(stop)) Remove(destination.Get(), sink.Get(), 1, stop);
        return S_OK;
    }

    // The same folder, whatever the letter case: nothing to do.
    if (trimmed.m_Length == target.m_Length) {
        bool same = true;
        for (int32_t i = 0; i < trimmed.m_Length && same; ++i)
            same = std::towlower(trimmed.m_pString[i]) == std::towlower(target.m_pString[i]);
        if (same) return S_OK;
    }

    SetTitle(L"Shadow(Copy)");
    const HRESULT copied = Copy(source.Get(), destination.Get(), copyNewOnly, subFolders, sink.Get(), stop);
    if (FAILED(copied) && sink) {
        Line(sink.Get(), L"Connection Aborted (Copy)", LINE_ERROR);
    } else if (SUCCEEDED(copied) && clean) {
        SetTitle(L"Shadow(Del)");
        if (!CStopEvent::Requested(stop)) Clean(source.Get(), destination.Get(), sink.Get(), stop, subFolders);
    }

    SetTitle(L"Shadow");
    if (sink) {
        IPtr<IString> line;
        m_CopyStatistics.GetInfoString(target, CREFString(L"Copied "), line.Out());
        if (line) sink->DisplayLine(m_Title.Get(), line.Get(), LINE_STATUS);
        if (clean) {
            m_DeleteStatistics.GetInfoString(target, CREFString(L"Deleted"), line.Out());
            if (line) sink->DisplayLine(m_Title.Get(), line.Get(), LINE_STATUS);
        }
    }
    return S_OK;
}

HRESULT CShadow::Copy(IString* source, IString* destination, short copyNewOnly, short subFolders,
                      IUILineDisplayable* sink, CStopEvent* stop) {
    const CREFString from = View(source);
    const CREFString to = View(destination);
    IPtr<IExtCollection> extensions = AllEntriesAs(L"File");
    Line(sink, L"Scanning: ", from, LINE_PROGRESS);

    Listing sources, targets;
    ListBoth(m_Lister, m_LastListingSize[kListFiles], source, destination, extensions.Get(), kListFiles, sources,
             targets);
    if (FAILED(targets.status)) OSCreateFolder(to);
    // A source that cannot be listed ends the copy with the listing's code.
    if (FAILED(sources.status)) return sources.status;
    int32_t count = 0;
    if (const HRESULT hr = sources.entries->get_Count(&count); FAILED(hr)) return hr;

    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name = sources.Name(i);
        bool copy = true;
        if (copyNewOnly) {
            const int32_t existing = targets.Find(name.Get());
            // Only strictly newer files are copied again; no tolerance.
            if (existing >= 0 &&
                sources.Attribute(i, FILE_ATTRIBUTE_MODIFIED) <= targets.Attribute(existing, FILE_ATTRIBUTE_MODIFIED))
                copy = false;
        }
        if (copy) {
            IPtr<IString> sourcePath = JoinPath(from, View(name.Get()));
            IPtr<IString> targetPath = JoinPath(to, View(name.Get()));
            // A file that fails to copy is counted all the same.
            OSCopyFile(View(sourcePath.Get()), View(targetPath.Get()), 1);
            m_CopyStatistics.Add(static_cast<double>(sources.Attribute(i, FILE_ATTRIBUTE_SIZE)));
            Line(sink, L"Copying: ", View(sourcePath.Get()), LINE_STATUS);
        }
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted", LINE_STATUS);
            return E_ABORT;
        }
    }

    if (!subFolders) return S_OK;
    // The file listings are done with: let them go before going down, so a
    // deep tree holds one level's listings at a time, not every level's.
    sources = Listing();
    targets = Listing();
    Listing folders = Scan(source, extensions.Get(), kListFolders);
    const int32_t folderCount = SUCCEEDED(folders.status) ? folders.Count() : 0;
    for (int32_t i = 0; i < folderCount; ++i) {
        IPtr<IString> name = folders.Name(i);
        IPtr<IString> sourceFolder = JoinPath(from, View(name.Get()));
        IPtr<IString> targetFolder = JoinPath(to, View(name.Get()));
        const std::unique_ptr<char[]> narrow = OSPath(View(targetFolder.Get()));
        ::umask(0);
        bool usable = ::mkdir(narrow.get(), 0777) == 0;
        if (!usable) {
            if (DIR* existing = ::opendir(narrow.get())) {
                ::closedir(existing);
                usable = true;
            }
        }
        if (usable) Copy(sourceFolder.Get(), targetFolder.Get(), copyNewOnly, subFolders, sink, stop);
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted", LINE_STATUS);
            return E_ABORT;
        }
    }
    return S_OK;
}

bool CShadow::SourceStillThere(const CREFString& source, IUILineDisplayable* sink) {
    if (source.m_Length <= 3 || OSVerify(source) == 1) return true;
    Line(sink, L"Connection Aborted (Clean)", LINE_ERROR);
    return false;
}

HRESULT CShadow::Clean(IString* source, IString* destination, IUILineDisplayable* sink, CStopEvent* stop,
                       short subFolders) {
    const CREFString from = View(source);
    const CREFString to = View(destination);
    // A source that is not a reachable folder must never lead to deletions.
    if (from.m_Length >= 4 && OSVerify(from) != 1) {
        Line(sink, L"Connection Aborted (Clean)", LINE_ERROR);
        return E_FAIL;
    }
    Line(sink, L"Scanning for Delete: ", to, LINE_PROGRESS);

    IPtr<IExtCollection> extensions = AllEntriesAs(L"*");
    Listing sources, targets;
    ListBoth(m_Lister, m_LastListingSize[kListFiles], source, destination, extensions.Get(), kListFiles, sources,
             targets);
    if (FAILED(sources.status)) return sources.status;
    if (FAILED(targets.status)) return targets.status;

    const int32_t count = targets.Count();
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name = targets.Name(i);
        if (sources.Find(name.Get()) < 0) {
            // Checked again before every deletion: a source that vanished
            // during the pass (an unmounted or lost folder) stops it here.
            if (!SourceStillThere(from, sink)) return E_FAIL;
            IPtr<IString> targetPath = JoinPath(to, View(name.Get()));
            RemoveFile(View(targetPath.Get()));
            m_DeleteStatistics.Add(static_cast<double>(targets.Attribute(i, FILE_ATTRIBUTE_SIZE)));
            Line(sink, L"Deleting: ", View(targetPath.Get()), LINE_STATUS);
        }
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted ", View(JoinPath(from, View(name.Get())).Get()), LINE_STATUS);
            return E_ABORT;
        }
    }

    if (!subFolders) return S_OK;
    // As in the copy: one level's file listings at a time.
    sources = Listing();
    targets = Listing();
    Listing sourceFolders, targetFolders;
    ListBoth(m_Lister, m_LastListingSize[kListFolders], source, destination, extensions.Get(), kListFolders,
             sourceFolders, targetFolders);
    if (FAILED(sourceFolders.status)) return sourceFolders.status;
    if (FAILED(targetFolders.status)) return targetFolders.status;

    const int32_t folderCount = targetFolders.Count();
    for (int32_t i = 0; i < folderCount; ++i) {
        IPtr<IString> name = targetFolders.Name(i);
        IPtr<IString> sourcePath = JoinPath(from, View(name.Get()));
        IPtr<IString> targetPath = JoinPath(to, View(name.Get()));
        if (sourceFolders.Find(name.Get()) < 0) {
            // The same check as before a file: a whole folder is about to go.
            if (!SourceStillThere(from, sink)) return E_FAIL;
            Remove(targetPath.Get(), sink, 1, stop);
            Line(sink, L"Deleting Folder+: ", View(targetPath.Get()), LINE_STATUS);
        } else {
            Clean(sourcePath.Get(), targetPath.Get(), sink, stop, 1);
        }
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted ", View(sourcePath.Get()), LINE_STATUS);
            return E_ABORT;
        }
    }
    return S_OK;
}

HRESULT CShadow::Remove(IString* folder, IUILineDisplayable* sink, int32_t removeFolder, CStopEvent* stop) {
    const CREFString path = View(folder);
    Line(sink, L"Scanning for Remove: ", path, LINE_PROGRESS);
    IPtr<IExtCollection> extensions = AllEntriesAs(L"*");

    Listing files = Scan(folder, extensions.Get(), kListFiles);
    if (FAILED(files.status)) return files.status;
    const int32_t count = files.Count();
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name = files.Name(i);
        IPtr<IString> filePath = JoinPath(path, View(name.Get()));
        RemoveFile(View(filePath.Get()));
        m_DeleteStatistics.Add(static_cast<double>(files.Attribute(i, FILE_ATTRIBUTE_SIZE)));
        Line(sink, L"Deleting: ", View(filePath.Get()), LINE_STATUS);
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted ", View(filePath.Get()), LINE_STATUS);
            return E_ABORT;
        }
    }

    Listing folders = Scan(folder, extensions.Get(), kListFolders);
    const int32_t folderCount = SUCCEEDED(folders.status) ? folders.Count() : 0;
    for (int32_t i = 0; i < folderCount; ++i) {
        IPtr<IString> name = folders.Name(i);
        IPtr<IString> folderPath = JoinPath(path, View(name.Get()));
        Remove(folderPath.Get(), sink, 1, stop);
        Line(sink, L"Deleting Folder: ", View(folderPath.Get()), LINE_STATUS);
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted ", View(folderPath.Get()), LINE_STATUS);
            return E_ABORT;
        }
    }

    if (removeFolder) RemoveFolder(path);
    return S_OK;
}
