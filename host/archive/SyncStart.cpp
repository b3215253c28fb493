#include "host/archive/SyncJob.h"

#include "host/archive/LocationAccess.h"
#include "host/text/ErrnoText.h"

namespace host::fas {

HRESULT BeginSync(const SyncJob& job, const wchar_t* title, SyncStart& start) {
    const Report& report = *job.report;
    std::optional<SchemeFile> manifest;
    TransferError error = ReadSchemeFileAt(job.server, job.schemeName, job.stop, manifest);
    if (error.status == E_ABORT) return E_ABORT;
    if (FAILED(error.status)) {
        report.Error(title, L"cannot read the scheme file " + job.schemeName + L" of " + job.server->Location() +
                                L": " + error.text);
        return E_FAIL;
    }
    if (!manifest) {
        report.Error(title, job.server->Location() + L" has no scheme file " + job.schemeName);
        return E_FAIL;
    }
    start.manifest = std::move(*manifest);
    // A scheme file that names the client's own entries would have the
    // service overwrite its state or its staging: no sound server writes one.
    for (const SchemeRow& row : start.manifest.rows) {
        if (IsServiceEntry(row.path, job.schemeName) || row.path.starts_with(std::wstring(kStagingName) + L"/")) {
            report.Error(title, L"the scheme file " + job.schemeName + L" names " + row.path +
                                    L", a name the service keeps for itself: refused");
            return E_FAIL;
        }
    }
    std::wstring why;
    if (!job.client->ReadState(start.state, why)) {
        report.Error(title, why);
        return E_FAIL;
    }
    if (start.manifest.serial < start.state.serial) {
        report.Error(title, L"the scheme file " + job.schemeName + L" has serial " +
                                std::to_wstring(start.manifest.serial) + L", older than serial " +
                                std::to_wstring(start.state.serial) + L" that " + job.client->Shown() +
                                L" already has: refused, a client is never taken back to an older version");
        return E_FAIL;
    }
    for (const SchemeRow& row : start.state.rows) start.recorded[row.path] = &row;
    std::wstring failed;
    if (int code = job.client->List(job.schemeName, job.stop, start.local, failed)) {
        if (code == ECANCELED) return E_ABORT;
        report.Error(title, L"cannot read the folder " + job.client->Shown() + L"/" + failed + L": " +
                                ErrnoText(code));
        return E_FAIL;
    }
    return S_OK;
}

int Decide(const SyncJob& job, const SyncStart& start, const SchemeRow& row, bool all, FileDecision& out) {
    out = FileDecision{};
    const auto local = start.local.find(row.path);
    const auto recorded = start.recorded.find(row.path);
    const SchemeRow* seen = recorded == start.recorded.end() ? nullptr : recorded->second;
    if (local != start.local.end()) {
        out.present = true;
        out.now = local->second;
        if (int code = job.client->Hash(row.path, out.now, seen, job.stop, out.localSha)) return code;
        // A file never placed nor seen by the service that differs from the
        // server's counts as changed here too: it is the user's, and
        // replacing it would lose it.
        const bool sameAsServer = out.localSha == row.sha256;
        out.changedHere = !sameAsServer && (seen ? out.localSha != seen->sha256 : true);
        out.fetch = all || !sameAsServer;
    } else {
        out.fetch = true;
        out.changedHere = job.client->HoldsOther(row.path);
    }
    return 0;
}

std::wstring CheckAgainst(int fd, const SchemeRow& row, const std::atomic<bool>* stop, bool& stopped) {
    std::string sha;
    int64_t size = 0;
    stopped = false;
    if (int code = HashFile(fd, stop, sha, size)) {
        stopped = code == ECANCELED;
        return L"cannot read what arrived: " + ErrnoText(code);
    }
    if (size != row.size)
        return L"arrived with " + std::to_wstring(size) + L" bytes where the scheme file says " +
               std::to_wstring(row.size) + L": not used";
    if (sha != row.sha256) return L"its SHA-256 differs from the scheme file's: not used";
    return {};
}

HRESULT FetchInPlace(const SyncJob& job, const SchemeRow& row, bool asNew, LocalFile& placed, std::wstring& why) {
    ScopedFD folder;
    std::string leaf;
    if (int code = OpenParent(job.client->Root(), row.path, true, folder, leaf)) {
        why = L"cannot reach its folder: " + ErrnoText(code);
        return E_FAIL;
    }
    PartFile part;
    if (int code = part.Create(folder.Get(), "." + leaf + ".fas-part")) {
        why = L"cannot make its work file: " + ErrnoText(code);
        return E_FAIL;
    }
    FetchResult fetched = job.server->FetchFile(row.path, part.Fd(), job.stop);
    if (fetched.error.status == E_ABORT || job.Stopped()) return E_ABORT;
    if (FAILED(fetched.error.status) || !fetched.complete) {
        why = fetched.error.text.empty() ? L"the transfer ended early" : fetched.error.text;
        return E_FAIL;
    }
    bool stopped = false;
    why = CheckAgainst(part.Fd(), row, job.stop, stopped);
    if (stopped) return E_ABORT;
    if (!why.empty()) return E_FAIL;
    const std::string target = asNew ? leaf + ".fas-new" : leaf;
    if (int code = part.Place(row.mode, row.modified, folder.Get(), target, placed)) {
        why = L"cannot put it in place: " + ErrnoText(code);
        return E_FAIL;
    }
    return S_OK;
}

} // namespace host::fas
