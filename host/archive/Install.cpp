// Install and InstallAll: every file to fetch goes to the staging folder and
// is checked there; only when all arrived whole does anything move into
// place, so a failure or a stop before that changes nothing the user sees.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <set>
#include <vector>

#include "host/archive/SyncJob.h"
#include "host/text/ErrnoText.h"
#include "sdk/ScopeExit.h"

namespace host::fas {

namespace {

constexpr wchar_t kTitle[] = L"Install";
constexpr char kStaging[] = ".fas-staging";

// Removes the staging folder and the files in it (it holds no folders).
void ClearStaging(int root) {
    ScopedFD folder(::openat(root, kStaging, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (folder.IsOpen()) {
        const int copy = ::dup(folder.Get());
        if (std::unique_ptr<DIR, int (*)(DIR*)> dir(copy >= 0 ? ::fdopendir(copy) : nullptr, &::closedir); dir) {
            while (dirent* entry = ::readdir(dir.get())) {
                const std::string name = entry->d_name;
                if (name != "." && name != "..") ::unlinkat(folder.Get(), name.c_str(), 0);
            }
        } else if (copy >= 0) {
            ::close(copy);
        }
    }
    ::unlinkat(root, kStaging, AT_REMOVEDIR);
}

struct Staged {
    const SchemeRow* row;
    bool asNew;
    std::string name; // in the staging folder
};

// Fetches one file into the staging folder and checks it; the file stays
// there, closed and on the disk, for the placing pass.
HRESULT Stage(const SyncJob& job, int staging, const SchemeRow& row, const std::string& name, std::wstring& why) {
    ScopedFD file(::openat(staging, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.IsOpen()) {
        why = L"cannot make its staging file: " + ErrnoText(errno);
        return E_FAIL;
    }
    FetchResult fetched = job.server->FetchFile(row.path, file.Get(), job.stop);
    if (fetched.error.status == E_ABORT || job.Stopped()) return E_ABORT;
    if (FAILED(fetched.error.status) || !fetched.complete) {
        why = fetched.error.text.empty() ? L"the transfer ended early" : fetched.error.text;
        return E_FAIL;
    }
    bool stopped = false;
    why = CheckAgainst(file.Get(), row, job.stop, stopped);
    if (stopped) return E_ABORT;
    if (!why.empty()) return E_FAIL;
    const struct timespec times[2] = {{0, UTIME_OMIT},
                                      {row.modified / 1000000000, row.modified % 1000000000}};
    if (::fchmod(file.Get(), row.mode ? (row.mode & 0777) : 0644) != 0 ||
        (row.modified > 0 && ::futimens(file.Get(), times) != 0) || ::fsync(file.Get()) != 0) {
        why = L"cannot finish its staging file: " + ErrnoText(errno);
        return E_FAIL;
    }
    return S_OK;
}

} // namespace

HRESULT RunInstall(const SyncJob& job, bool all) {
    const Report& report = *job.report;
    SyncStart start;
    if (HRESULT hr = BeginSync(job, kTitle, start); hr != S_OK) return hr;
    const int root = job.client->Root();
    report.Progress(kTitle, std::to_wstring(start.manifest.rows.size()) + L" files in the scheme file, serial " +
                                std::to_wstring(start.manifest.serial));

    // What a stopped or failed earlier install left in the staging folder
    // is thrown away: it was never put in place.
    ClearStaging(root);
    ScopeExit clear([&] { ClearStaging(root); });
    if (::mkdirat(root, kStaging, 0700) != 0) {
        report.Error(kTitle, L"cannot make the staging folder: " + ErrnoText(errno));
        return E_FAIL;
    }
    ScopedFD staging(::openat(root, kStaging, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!staging.IsOpen()) {
        report.Error(kTitle, L"cannot open the staging folder: " + ErrnoText(errno));
        return E_FAIL;
    }

    // Pass 1: decide and stage. Nothing outside the staging folder changes.
    std::vector<Staged> staged;
    std::map<std::wstring, SchemeRow> state;
    for (const SchemeRow& row : start.manifest.rows) {
        if (job.Stopped()) return E_ABORT;
        FileDecision decision;
        if (int code = Decide(job, start, row, all, decision)) {
            if (code == ECANCELED) return E_ABORT;
            report.Error(kTitle, row.path + L": cannot read the client's file: " + ErrnoText(code) +
                                     L"; nothing was put in place");
            return E_FAIL;
        }
        if (!decision.fetch) {
            state[row.path] = SchemeRow{row.path, decision.now.size, decision.now.modified, decision.now.mode,
                                        decision.localSha, true};
            continue;
        }
        Staged one{&row, decision.changedHere, std::to_string(staged.size())};
        std::wstring why;
        const HRESULT hr = Stage(job, staging.Get(), row, one.name, why);
        if (hr == E_ABORT) {
            report.Status(kTitle, L"stopped; nothing was put in place");
            return E_ABORT;
        }
        if (FAILED(hr)) {
            report.Error(kTitle, row.path + L": " + why + L"; nothing was put in place");
            return E_FAIL;
        }
        report.Progress(L"Staged", row.path);
        staged.push_back(std::move(one));
    }

    // Pass 2: every file arrived whole; put them in place. A stop is no
    // longer read: renames are quick, and a half-placed install is what
    // the staging is there to avoid.
    size_t placedCount = 0, kept = 0, failed = 0, removed = 0;
    for (const Staged& one : staged) {
        const SchemeRow& row = *one.row;
        ScopedFD folder;
        std::string leaf;
        int code = OpenParent(root, row.path, true, folder, leaf);
        const std::string target = one.asNew ? leaf + ".fas-new" : leaf;
        if (!code && ::renameat(staging.Get(), one.name.c_str(), folder.Get(), target.c_str()) != 0) code = errno;
        struct stat info {};
        if (!code && ::fstatat(folder.Get(), target.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) code = errno;
        if (code) {
            report.Error(kTitle, row.path + L": cannot put it in place: " + ErrnoText(code));
            ++failed;
            continue;
        }
        if (one.asNew) {
            report.Status(kTitle, row.path + L" was changed here and is kept; the server's version is " +
                                      row.path + kNewSuffix);
            ++kept;
            continue;
        }
        state[row.path] = SchemeRow{row.path, info.st_size, ModifiedNanoseconds(info), info.st_mode & 07777u,
                                    row.sha256, true};
        report.Progress(L"Installed", row.path);
        ++placedCount;
    }

    // Pass 3: files an earlier install placed that the scheme file no
    // longer names go, unless they were changed here since. Rows of files
    // an update only saw stay as they are.
    std::set<std::wstring> named;
    for (const SchemeRow& row : start.manifest.rows) named.insert(row.path);
    for (const SchemeRow& old : start.state.rows) {
        if (state.count(old.path)) continue;
        if (named.count(old.path)) {
            state[old.path] = old; // not placed this time: keep what the state knew
            continue;
        }
        if (!old.installed) {
            state[old.path] = old;
            continue;
        }
        const auto local = start.local.find(old.path);
        if (local == start.local.end()) continue;
        std::string sha;
        if (job.client->Hash(old.path, local->second, &old, nullptr, sha) != 0) continue;
        if (sha != old.sha256) {
            report.Status(kTitle, old.path + L" is no longer installed but was changed here: kept");
            continue;
        }
        ScopedFD folder;
        std::string leaf;
        if (OpenParent(root, old.path, false, folder, leaf) == 0 && ::unlinkat(folder.Get(), leaf.c_str(), 0) == 0) {
            report.Progress(L"Removed", old.path);
            ++removed;
        }
    }

    SchemeFile next{SchemeKind::ClientState, failed ? start.state.serial : start.manifest.serial, {}};
    for (auto& [path, row] : state) next.rows.push_back(std::move(row));
    std::wstring why;
    if (!job.client->WriteState(next, why)) {
        report.Error(kTitle, why);
        ++failed;
    }
    report.Status(kTitle, std::to_wstring(placedCount) + L" installed, " + std::to_wstring(removed) +
                              L" removed, " + std::to_wstring(kept) + L" changed here (new version beside them), " +
                              std::to_wstring(failed) + L" failed");
    return failed ? E_FAIL : S_OK;
}

} // namespace host::fas
