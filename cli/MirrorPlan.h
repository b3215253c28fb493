// What a mirroring run would do, worked out before it runs. The plan walks
// the source and the destination through the host's folder listing, the
// service the Shadow component lists folders with, and applies the
// component's rules, so it sees the same names, sizes and times the run
// will see:
//   copy pass, per folder: a source file is copied when the destination
//   lists no file of its name, or, copying new files only, when the source
//   file is strictly newer; every file when not. Then each source sub-folder
//   is created where the destination lacks it and mirrored; a destination
//   entry of that name that is a symbolic link or not a folder is not
//   entered.
//   clean pass, per folder: destination files whose names the source does
//   not list are deleted; with sub-folders, a destination sub-folder the
//   source lacks is removed with everything in it (its files, then its
//   sub-folders depth first, then the folder), and those both have are
//   cleaned in turn.
// The clean pass is planned on the destination as it is now: the copy pass
// adds only names the source has, and the clean pass never deletes those.
// Nothing on disk is changed; each step goes to the sink in the order the
// run would take it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "cli/HostRuntime.h"
#include "sdk/FileListing.h"

namespace cli {

enum class MirrorAction { CopyFile, CreateFolder, SkipFolder, DeleteFile, DeleteFolder };

struct PlannedStep {
    MirrorAction action = MirrorAction::CopyFile;
    std::wstring path;   // the destination file or folder acted on
    std::wstring source; // CopyFile: the file copied from
    int64_t bytes = 0;   // CopyFile, DeleteFile: the size of the file
    const char* why = ""; // SkipFolder: why the folder is not entered
};

struct PlanCounts {
    int64_t filesToCopy = 0;
    double bytesToCopy = 0;
    int64_t foldersToCreate = 0;
    int64_t foldersToSkip = 0;
    int64_t filesToDelete = 0;
    double bytesToDelete = 0;
    int64_t foldersToDelete = 0;

    int64_t Deletions() const { return filesToDelete + foldersToDelete; }
};

// The parameters of the run as the component receives them.
struct MirrorSettings {
    std::wstring source;      // absolute
    std::wstring destination; // absolute
    bool copyNewOnly = true;
    bool subFolders = true;
};

class MirrorPlan final {
public:
    using Sink = std::function<void(const PlannedStep&)>;

    // `runtime` is borrowed and must outlive the plan. Without a sink the
    // plan only counts.
    MirrorPlan(const HostRuntime& runtime, MirrorSettings settings, Sink sink = {});

    // The copy pass. Throws a failure when the source folder cannot be
    // listed: the run would end there too.
    void PlanCopy();
    // The clean pass; nothing when either top folder cannot be listed (the
    // run would not clean then either).
    void PlanClean();
    // True when the source folder lists neither a file nor a sub-folder,
    // which is also what an unmounted disk's empty mount point looks like.
    bool SourceLooksEmpty() const;

    const PlanCounts& Counts() const { return m_counts; }

private:

    FileListing List(const std::wstring& folder, bool folders, IExtCollection* kinds) const;
    IPtr<IExtCollection> AllEntriesAs(const wchar_t* kind) const;
    void Copy(const std::wstring& from, const std::wstring& to, bool targetExists, bool top);
    void CopyFolder(const std::wstring& from, const std::wstring& to, bool targetExists);
    void Clean(const std::wstring& from, const std::wstring& to);
    void Remove(const std::wstring& folder);
    void Emit(MirrorAction action, std::wstring path, int64_t bytes = 0, std::wstring source = {},
              const char* why = "");

    const HostRuntime& m_runtime;
    MirrorSettings m_settings;
    Sink m_sink;
    PlanCounts m_counts;
    IPtr<IExtCollection> m_copyKinds;  // as the component's copy pass lists
    IPtr<IExtCollection> m_cleanKinds; // as its clean pass lists
};

} // namespace cli
