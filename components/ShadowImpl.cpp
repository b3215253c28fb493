#include "components/ShadowImpl.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cwctype>
#include <string>
#include <vector>

#include "components/FileSystem.h"
#include "sdk/FileListing.h"
#include "core/Helpers.h"
#include "sdk/ScopeExit.h"

namespace {

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

// One scan of a folder through the host's listing service: its entries
// (sdk/FileListing.h), the listing's status and its facts.
struct Listing : FileListing {
    IPtr<IFileNameCollection> names;
    HRESULT status = E_FAIL;

    using FileListing::Find;
    // The index of the entry of this name and kind (file or folder), or -1.
    int32_t Find(IString* name, bool folder) const {
        const int32_t index = Find(name);
        return index >= 0 && IsFolder(index) == folder ? index : -1;
    }
    // A fact of the scan (FILENAME_OPTION_SCAN_ERROR, _WORK_FILES); 0 when unknown.
    int32_t Fact(int32_t which) const {
        int32_t value = 0;
        if (names) names->get_Option(which, &value);
        return value;
    }
};

IPtr<IExtCollection> AllEntriesAs(const wchar_t* kind) {
    IPtr<IExtCollection> extensions = CreateHostObject<IExtCollection>(L"ExtCollection");
    if (extensions) extensions->AddExtension(REFLiteral(L"*"), REFLiteral(kind));
    return extensions;
}

// Files and sub-folders of a folder, in one reading of it. With `namesOnly`
// the entries carry no attributes but the folder flag (see
// FILENAME_OPTION_NAMES_ONLY): for passes that compare names only.
Listing Scan(IString* folder, IExtCollection* extensions, bool namesOnly = false) {
    Listing listing;
    listing.names = CreateHostObject<IFileNameCollection>(L"FileNameCollection");
    if (!listing.names) return listing;
    listing.names->put_Folder(folder);
    if (extensions) listing.names->put_Extensions(extensions);
    listing.names->put_Option(25, 0);
    listing.names->put_Option(18, 0);
    listing.names->put_Option(FILENAME_OPTION_FOLDERS, FILENAME_LIST_BOTH);
    if (namesOnly) listing.names->put_Option(FILENAME_OPTION_NAMES_ONLY, 1);
    listing.names->put_Option(22, 1);
    listing.status = listing.names->Scan();
    static_cast<FileListing&>(listing) = FileListing(listing.names.Query<ISuperCollection>());
    if (SUCCEEDED(listing.status) && !listing.Listed()) listing.status = E_NOINTERFACE;
    return listing;
}

// The two listings of one level, the destination's on the side thread when
// that pays: handing work to another thread costs some tens of microseconds,
// more than listing a folder of a few entries. Sibling folders tend to be
// alike, so the size of the last destination listing decides for the next.
void ListBoth(SideThread& side, std::atomic<int32_t>& lastSize, IString* source, IString* destination,
              IExtCollection* extensions, bool namesOnly, Listing& sources, Listing& targets) {
    constexpr int32_t kWorthHandingOff = 16;
    const auto listSource = [&] { sources = Scan(source, extensions, namesOnly); };
    const auto listTarget = [&] { targets = Scan(destination, extensions, namesOnly); };
    if (lastSize.load(std::memory_order_relaxed) >= kWorthHandingOff) {
        side.RunBoth(listSource, listTarget);
    } else {
        listSource();
        listTarget();
    }
    lastSize.store(targets.Count(), std::memory_order_relaxed);
}

std::string NameBytes(IString* name) { return OSPath(View(name)).get(); }

// Records why a listing of `folder` failed; returns the listing's code.
HRESULT ListingFailed(FailureLog& failures, const Listing& listing, const CREFString& folder) {
    OSError error;
    error.code = listing.Fact(FILENAME_OPTION_SCAN_ERROR);
    if (!error.Failed()) error.reason = "the folder cannot be listed";
    failures.Record("cannot list folder", folder, error);
    return listing.status;
}

} // namespace

HRESULT CShadow::FinalConstruct() {
    DeclareInput(L"UILineDisplayable", IID_IUILineDisplayable);
    AddParameterRows({
        {L"SourcePath", true, 0, 0x26},
        {L"DestinationPath", true, 0, 0x26},
        {L"CleanOlderFiles", false, 0, 0x13},
        {L"CopyNewOnly", false, 1, 0x13},
        {L"CopySubFolders", false, 1, 0x13},
    });
    return S_OK;
}

HRESULT CShadow::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage"});
}

HRESULT CShadow::GetCopyStatistics(int32_t* files, double* bytes) {
    return m_CopyStatistics.Report(files, bytes);
}

HRESULT CShadow::GetDeleteStatistics(int32_t* files, double* bytes) {
    return m_DeleteStatistics.Report(files, bytes);
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

// One run of the passes: the identity of its source folder is known while
// it lasts, and the failures it recorded are written out when it ends.
class CShadow::RunScope final {
public:
    RunScope(CShadow& shadow, const CREFString& source) : m_shadow(shadow) {
        m_shadow.m_RunSourcePath.assign(source.m_pString ? source.m_pString : L"",
                                        static_cast<size_t>(std::max(source.m_Length, 0)));
        m_shadow.m_RunSourceKnown = OSFolderIdentityOf(source, &m_shadow.m_RunSourceIdentity);
    }
    ~RunScope() {
        m_shadow.m_RunSourceKnown = false;
        m_shadow.m_Failures.Flush();
    }
    RunScope(const RunScope&) = delete;
    RunScope& operator=(const RunScope&) = delete;

private:
    CShadow& m_shadow;
};

HRESULT CShadow::Shadow(IString* source, IString* destination, short copyNewOnly, short subFolders, short clean,
                        IUnknown* display) {
    IPtr<IUILineDisplayable> sink = QueryAs<IUILineDisplayable>(display);
    RunScope run(*this, View(source));
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
    IPtr<IUILineDisplayable> sink = QueryAs<IUILineDisplayable>(display.Get());

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
    ScopeExit idle([this] { m_Executing.store(0, std::memory_order_release); });

    CREFString trimmed = TrimPath(View(sourceText.Get()));
    CREFString target = View(destination.Get());
    if (target.m_Length <= 0) return E_FAIL;
    IPtr<IString> source = IPtr<IString>::Adopt(ISCreate(static_cast<const tagREFString&>(trimmed)));

    if (trimmed.m_Length <= 0) {
        if (!clean) return S_OK;
        SetTitle(L"Delete Folder)");
        RunScope run(*this, trimmed);
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

    RunScope run(*this, trimmed);
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
    ListBoth(m_Lister, m_LastListingSize, source, destination, extensions.Get(), false, sources, targets);
    if (FAILED(targets.status)) OSCreateFolder(to);
    // A source that cannot be listed ends the copy with the listing's code.
    if (FAILED(sources.status)) return ListingFailed(m_Failures, sources, from);
    const int32_t count = sources.Count();

    PassFolders::Scope level(m_Folders, to);
    if (!level->Entered()) m_Failures.Record("cannot enter folder", to, level->error);
    else if (targets.Fact(FILENAME_OPTION_WORK_FILES) > 0) OSRemoveStaleWorkFiles(level->Fd());

    // The files to copy, then their copies on two threads: a folder of
    // small files is mostly waiting on the file system, which takes two
    // files at once about as fast as one. Results are reported in listing
    // order, each once it and all before it are done.
    struct FileCopy {
        IPtr<IString> name;
        IPtr<IString> sourcePath;
        double size;
        OSError error;
    };
    // The sub-folders' names are what the pass keeps of the listings when
    // it goes down, so that a deep tree holds one level's listings at a
    // time, not every level's.
    std::vector<FileCopy> copies;
    std::vector<IPtr<IString>> folders;
    for (int32_t i = 0; i < count; ++i) {
        const FileListing::Facts file = sources.FactsOf(i);
        IPtr<IString> name = sources.Name(i);
        if (file.folder) {
            folders.push_back(std::move(name));
            continue;
        }
        if (copyNewOnly) {
            const int32_t existing = targets.Find(name.Get());
            // Only strictly newer files are copied again; no tolerance.
            if (existing >= 0) {
                const FileListing::Facts target = targets.FactsOf(existing);
                if (!target.folder && file.modified <= target.modified) continue;
            }
        }
        IPtr<IString> sourcePath = JoinPath(from, View(name.Get()));
        copies.push_back(
            FileCopy{std::move(name), std::move(sourcePath), static_cast<double>(file.size), OSError{}});
    }
    const auto copyOne = [&](size_t i) {
        FileCopy& file = copies[i];
        if (!OSNameMirrorable(View(file.name.Get()))) file.error.reason = "the name is not valid UTF-8";
        else if (level->Entered())
            OSCopyFileAt(OSPath(View(file.sourcePath.Get())).get(), level->Fd(), NameBytes(file.name.Get()).c_str(), 1,
                         &file.error);
    };
    const auto report = [&](size_t i) {
        // A file that fails to copy is counted all the same; the failure
        // goes to the event log.
        const FileCopy& file = copies[i];
        if (file.error.Failed())
            m_Failures.RecordCopy(View(file.sourcePath.Get()), View(JoinPath(to, View(file.name.Get())).Get()),
                                  file.error);
        m_CopyStatistics.Add(file.size);
        Line(sink, L"Copying: ", View(file.sourcePath.Get()), LINE_STATUS);
    };
    m_Lister.RunInOrder(copies.size(), copyOne, report, [stop] { return CStopEvent::Requested(stop); });
    if (CStopEvent::Requested(stop)) {
        Line(sink, L"Aborted", LINE_STATUS);
        return E_ABORT;
    }

    if (!subFolders) return S_OK;
    sources = Listing();
    targets = Listing();
    for (const IPtr<IString>& name : folders) {
        IPtr<IString> sourceFolder = JoinPath(from, View(name.Get()));
        IPtr<IString> targetFolder = JoinPath(to, View(name.Get()));
        if (MakeSubFolder(*level, name.Get(), targetFolder.Get()))
            Copy(sourceFolder.Get(), targetFolder.Get(), copyNewOnly, subFolders, sink, stop);
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted", LINE_STATUS);
            return E_ABORT;
        }
    }
    return S_OK;
}

bool CShadow::MakeSubFolder(const PassFolders::Level& level, IString* name, IString* path) {
    if (!OSNameMirrorable(View(name))) {
        m_Failures.Record("cannot mirror", View(path), "the name is not valid UTF-8");
        return false;
    }
    if (!level.Entered()) return false; // reported when the level was entered
    const std::string bytes = NameBytes(name);
    // Mode 0777 under the user's umask (see OSCreateFolder).
    if (::mkdirat(level.Fd(), bytes.c_str(), 0777) == 0) return true;
    OSError error;
    error.code = errno;
    struct stat status {};
    if (error.code == EEXIST && ::fstatat(level.Fd(), bytes.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        if (S_ISDIR(status.st_mode)) return true;
        if (S_ISLNK(status.st_mode)) {
            m_Failures.Record("skipped", View(path), "a symbolic link in the destination is not followed");
            return false;
        }
        error.code = ENOTDIR;
    }
    m_Failures.Record("cannot create folder", View(path), error);
    return false;
}

void CShadow::DeleteFile(const PassFolders::Level& level, IString* name, IString* path, int64_t* size) {
    OSError error;
    if (!OSNameMirrorable(View(name))) {
        error.reason = "the name is not valid UTF-8";
    } else if (!level.Entered()) {
        error = level.error;
    } else {
        const std::string bytes = NameBytes(name);
        // The size as a listing gives it: a link's is its target's.
        struct stat status {};
        if (size && ::fstatat(level.Fd(), bytes.c_str(), &status, 0) == 0) *size = status.st_size;
        // A link is removed itself, never what it points at. A file already
        // gone is what was wanted.
        if (::unlinkat(level.Fd(), bytes.c_str(), 0) != 0 && errno != ENOENT) error.code = errno;
    }
    if (error.Failed()) m_Failures.Record("cannot delete", View(path), error);
}

bool CShadow::SourceStillThere(const CREFString& source, IUILineDisplayable* sink) {
    if (source.m_Length <= 3 || m_Folders.SourceUnchanged()) return true;
    Line(sink, L"Connection Aborted (Clean)", LINE_ERROR);
    return false;
}

HRESULT CShadow::Clean(IString* source, IString* destination, IUILineDisplayable* sink, CStopEvent* stop,
                       short subFolders) {
    const CREFString from = View(source);
    const CREFString to = View(destination);
    PassFolders::Scope level(m_Folders, to);
    // A source that is not a reachable folder, or no longer the folder the
    // run started with, must never lead to deletions.
    if (from.m_Length >= 4) {
        const bool runSource = m_RunSourceKnown && m_RunSourcePath.size() == static_cast<size_t>(from.m_Length) &&
                               m_RunSourcePath.compare(0, m_RunSourcePath.size(), from.m_pString,
                                                       static_cast<size_t>(from.m_Length)) == 0;
        if (OSVerify(from) != 1 || !m_Folders.GuardSource(from, runSource ? &m_RunSourceIdentity : nullptr)) {
            Line(sink, L"Connection Aborted (Clean)", LINE_ERROR);
            return E_FAIL;
        }
    }
    Line(sink, L"Scanning for Delete: ", to, LINE_PROGRESS);

    // The clean pass compares names only: the listings skip every status
    // they can, and a deleted file's size is read when it goes.
    IPtr<IExtCollection> extensions = AllEntriesAs(L"*");
    Listing sources, targets;
    ListBoth(m_Lister, m_LastListingSize, source, destination, extensions.Get(), true, sources, targets);
    if (FAILED(sources.status)) return ListingFailed(m_Failures, sources, from);
    if (FAILED(targets.status)) return ListingFailed(m_Failures, targets, to);
    if (!level->Entered()) {
        // Nothing is deleted through a folder that could not be entered.
        m_Failures.Record("cannot enter folder", to, level->error);
        return E_FAIL;
    }

    // As in the copy: the sub-folders' names go down, not the listings.
    struct Folder {
        IPtr<IString> name;
        bool inSource;
    };
    std::vector<Folder> folders;
    const int32_t count = targets.Count();
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name = targets.Name(i);
        if (targets.IsFolder(i)) {
            const bool inSource = sources.Find(name.Get(), true) >= 0;
            folders.push_back(Folder{std::move(name), inSource});
            continue;
        }
        if (sources.Find(name.Get(), false) < 0) {
            // Checked again before every deletion: a source that vanished
            // or was replaced during the pass (an unmounted or lost folder)
            // stops it here.
            if (!SourceStillThere(from, sink)) return E_FAIL;
            IPtr<IString> targetPath = JoinPath(to, View(name.Get()));
            int64_t size = 0;
            DeleteFile(*level, name.Get(), targetPath.Get(), &size);
            m_DeleteStatistics.Add(static_cast<double>(size));
            Line(sink, L"Deleting: ", View(targetPath.Get()), LINE_STATUS);
        }
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted ", View(JoinPath(from, View(name.Get())).Get()), LINE_STATUS);
            return E_ABORT;
        }
    }

    if (!subFolders) return S_OK;
    sources = Listing();
    targets = Listing();

    for (const Folder& folder : folders) {
        IString* name = folder.name.Get();
        IPtr<IString> sourcePath = JoinPath(from, View(name));
        IPtr<IString> targetPath = JoinPath(to, View(name));
        if (!folder.inSource) {
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

    // As in the clean pass: names only, each file's size read as it goes.
    Listing files = Scan(folder, extensions.Get(), true);
    if (FAILED(files.status)) return ListingFailed(m_Failures, files, path);
    PassFolders::Scope level(m_Folders, path);
    if (!level->Entered()) {
        // Nothing is deleted through a folder that could not be entered: it
        // may have been swapped for a link since it was listed.
        m_Failures.Record("cannot enter folder", path, level->error);
        return E_FAIL;
    }
    if (files.Fact(FILENAME_OPTION_WORK_FILES) > 0) OSRemoveStaleWorkFiles(level->Fd());

    std::vector<IPtr<IString>> folders;
    const int32_t count = files.Count();
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name = files.Name(i);
        if (files.IsFolder(i)) {
            folders.push_back(std::move(name));
            continue;
        }
        IPtr<IString> filePath = JoinPath(path, View(name.Get()));
        int64_t size = 0;
        DeleteFile(*level, name.Get(), filePath.Get(), &size);
        m_DeleteStatistics.Add(static_cast<double>(size));
        Line(sink, L"Deleting: ", View(filePath.Get()), LINE_STATUS);
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted ", View(filePath.Get()), LINE_STATUS);
            return E_ABORT;
        }
    }

    files = Listing();
    for (const IPtr<IString>& name : folders) {
        IPtr<IString> folderPath = JoinPath(path, View(name.Get()));
        Remove(folderPath.Get(), sink, 1, stop);
        Line(sink, L"Deleting Folder: ", View(folderPath.Get()), LINE_STATUS);
        if (CStopEvent::Requested(stop)) {
            Line(sink, L"Aborted ", View(folderPath.Get()), LINE_STATUS);
            return E_ABORT;
        }
    }

    if (removeFolder) {
        // A folder right inside another of the pass goes through that one;
        // a top folder by its path.
        const PassFolders::Level* above = m_Folders.Above();
        const int removed = above ? ::unlinkat(above->Fd(), level->name.c_str(), AT_REMOVEDIR)
                                  : ::rmdir(OSPath(path).get());
        if (removed != 0 && errno != ENOENT) {
            OSError error;
            error.code = errno;
            m_Failures.Record("cannot delete folder", path, error);
        }
    }
    return S_OK;
}
