#include "cli/MirrorPlan.h"

#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "cli/CliError.h"
#include "cli/Text.h"

namespace cli {

namespace {

constexpr int32_t kListFiles = 0;
constexpr int32_t kListFolders = 1;

std::wstring JoinPath(const std::wstring& folder, const std::wstring& name) { return folder + L"/" + name; }

// The listing stands for each byte of a name that is not valid UTF-8 by a
// lone surrogate; the run cannot create such a name and passes it by.
bool Mirrorable(const std::wstring& path) {
    for (wchar_t c : path)
        if (c >= 0xD800 && c <= 0xDFFF) return false;
    return true;
}

} // namespace

MirrorPlan::MirrorPlan(const HostRuntime& runtime, MirrorSettings settings, Sink sink)
    : m_runtime(runtime), m_settings(std::move(settings)), m_sink(std::move(sink)),
      m_copyKinds(AllEntriesAs(L"File")), m_cleanKinds(AllEntriesAs(L"*")) {}

IPtr<IExtCollection> MirrorPlan::AllEntriesAs(const wchar_t* kind) const {
    auto kinds = m_runtime.Create<IExtCollection>(L"ExtCollection");
    if (!kinds) throw Failure("the host runtime offers no extension collection");
    kinds->AddExtension(REFLiteral(L"*"), REFLiteral(kind));
    return kinds;
}

// The same request the component makes for each of its listings.
FileListing MirrorPlan::List(const std::wstring& folder, bool folders, IExtCollection* kinds) const {
    auto names = m_runtime.Create<IFileNameCollection>(L"FileNameCollection");
    if (!names) throw Failure("the host runtime offers no folder listing");
    auto path = m_runtime.NewString(folder);
    names->put_Folder(path.Get());
    names->put_Extensions(kinds);
    names->put_Option(25, 0);
    names->put_Option(18, 0);
    names->put_Option(FILENAME_OPTION_FOLDERS, folders ? kListFolders : kListFiles);
    names->put_Option(22, 1);
    if (FAILED(names->Scan())) return FileListing();
    return FileListing(names.Query<ISuperCollection>());
}

void MirrorPlan::Emit(MirrorAction action, std::wstring path, int64_t bytes, std::wstring source, const char* why) {
    PlannedStep step;
    step.action = action;
    step.path = std::move(path);
    step.source = std::move(source);
    step.bytes = bytes;
    step.why = why;
    switch (step.action) {
    case MirrorAction::CopyFile:
        ++m_counts.filesToCopy;
        m_counts.bytesToCopy += static_cast<double>(step.bytes);
        break;
    case MirrorAction::CreateFolder: ++m_counts.foldersToCreate; break;
    case MirrorAction::SkipFolder: ++m_counts.foldersToSkip; break;
    case MirrorAction::DeleteFile:
        ++m_counts.filesToDelete;
        m_counts.bytesToDelete += static_cast<double>(step.bytes);
        break;
    case MirrorAction::DeleteFolder: ++m_counts.foldersToDelete; break;
    }
    if (m_sink) m_sink(step);
}

void MirrorPlan::PlanCopy() { Copy(m_settings.source, m_settings.destination, true, true); }

void MirrorPlan::PlanClean() { Clean(m_settings.source, m_settings.destination); }

bool MirrorPlan::SourceLooksEmpty() const {
    const FileListing files = List(m_settings.source, false, m_copyKinds.Get());
    if (!files.Listed() || files.Count() > 0) return false;
    const FileListing folders = List(m_settings.source, true, m_copyKinds.Get());
    return folders.Listed() && folders.Count() == 0;
}

void MirrorPlan::Copy(const std::wstring& from, const std::wstring& to, bool targetExists, bool top) {
    FileListing sources = List(from, false, m_copyKinds.Get());
    FileListing targets = targetExists ? List(to, false, m_copyKinds.Get()) : FileListing();
    if (!sources.Listed()) {
        if (top) throw Failure("cannot list the source folder " + ToUtf8(from));
        return;
    }
    // The run creates the top folder when it cannot list it; a missing
    // sub-folder was announced by the level above.
    if (top && !targets.Listed()) Emit(MirrorAction::CreateFolder, to);

    const int32_t count = sources.Count();
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name = sources.Name(i);
        if (m_settings.copyNewOnly) {
            const int32_t existing = targets.Find(name.Get());
            if (existing >= 0 && sources.FactsOf(i).modified <= targets.FactsOf(existing).modified)
                continue;
        }
        const std::wstring text = TextOf(name.Get());
        Emit(MirrorAction::CopyFile, JoinPath(to, text), sources.FactsOf(i).size,
             JoinPath(from, text));
    }
    if (!m_settings.subFolders) return;

    // One level's listings at a time, as in the run.
    sources = FileListing();
    targets = FileListing();
    const FileListing folders = List(from, true, m_copyKinds.Get());
    const int32_t folderCount = folders.Count();
    for (int32_t i = 0; i < folderCount; ++i) {
        const std::wstring name = TextOf(folders.Name(i).Get());
        CopyFolder(JoinPath(from, name), JoinPath(to, name), targetExists);
    }
}

void MirrorPlan::CopyFolder(const std::wstring& from, const std::wstring& to, bool parentExists) {
    struct stat st;
    const char* why = nullptr;
    if (!Mirrorable(to)) {
        why = "the name is not valid UTF-8";
    } else if (parentExists && ::lstat(ToUtf8(to).c_str(), &st) == 0) {
        if (S_ISLNK(st.st_mode)) why = "a symbolic link, not entered";
        else if (!S_ISDIR(st.st_mode)) why = "not a folder";
    } else if (parentExists && errno != ENOENT) {
        why = "cannot be read";
    } else {
        Emit(MirrorAction::CreateFolder, to);
        Copy(from, to, false, false);
        return;
    }
    if (why) {
        Emit(MirrorAction::SkipFolder, to, 0, {}, why);
        return;
    }
    Copy(from, to, true, false);
}

void MirrorPlan::Clean(const std::wstring& from, const std::wstring& to) {
    FileListing sources = List(from, false, m_cleanKinds.Get());
    FileListing targets = List(to, false, m_cleanKinds.Get());
    if (!sources.Listed() || !targets.Listed()) return;

    const int32_t count = targets.Count();
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name = targets.Name(i);
        if (sources.Find(name.Get()) >= 0) continue;
        Emit(MirrorAction::DeleteFile, JoinPath(to, TextOf(name.Get())), targets.FactsOf(i).size);
    }
    if (!m_settings.subFolders) return;

    sources = FileListing();
    targets = FileListing();
    const FileListing sourceFolders = List(from, true, m_cleanKinds.Get());
    const FileListing targetFolders = List(to, true, m_cleanKinds.Get());
    if (!sourceFolders.Listed() || !targetFolders.Listed()) return;
    const int32_t folderCount = targetFolders.Count();
    for (int32_t i = 0; i < folderCount; ++i) {
        IPtr<IString> name = targetFolders.Name(i);
        const std::wstring text = TextOf(name.Get());
        if (sourceFolders.Find(name.Get()) < 0) Remove(JoinPath(to, text));
        else Clean(JoinPath(from, text), JoinPath(to, text));
    }
}

void MirrorPlan::Remove(const std::wstring& folder) {
    const FileListing files = List(folder, false, m_cleanKinds.Get());
    if (!files.Listed()) return; // the run leaves a folder it cannot list
    const int32_t count = files.Count();
    for (int32_t i = 0; i < count; ++i)
        Emit(MirrorAction::DeleteFile, JoinPath(folder, TextOf(files.Name(i).Get())),
             files.FactsOf(i).size);
    const FileListing folders = List(folder, true, m_cleanKinds.Get());
    const int32_t folderCount = folders.Count();
    for (int32_t i = 0; i < folderCount; ++i) Remove(JoinPath(folder, TextOf(folders.Name(i).Get())));
    Emit(MirrorAction::DeleteFolder, folder);
}

} // namespace cli
