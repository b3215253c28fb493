// Update, UpdateAll, and the preview of an update.
#include "host/archive/SyncJob.h"
#include "host/text/ErrnoText.h"

namespace host::fas {

namespace {

constexpr wchar_t kTitle[] = L"Update";

std::wstring Counts(size_t fetched, size_t same, size_t kept, size_t failed) {
    return std::to_wstring(fetched) + L" fetched, " + std::to_wstring(same) + L" unchanged, " +
           std::to_wstring(kept) + L" changed here (new version beside them), " + std::to_wstring(failed) +
           L" failed";
}

} // namespace

HRESULT RunUpdate(const SyncJob& job, bool all) {
    const Report& report = *job.report;
    SyncStart start;
    if (HRESULT hr = BeginSync(job, kTitle, start); hr != S_OK) return hr;
    report.Progress(kTitle, std::to_wstring(start.manifest.rows.size()) + L" files in the scheme file, serial " +
                                std::to_wstring(start.manifest.serial));

    // The new state starts as the old one: rows of files the scheme file
    // no longer names stay, so that a later install can still tell which
    // files it placed.
    std::map<std::wstring, SchemeRow> state;
    for (const SchemeRow& row : start.state.rows) state[row.path] = row;
    size_t fetched = 0, same = 0, kept = 0, failed = 0;
    HRESULT outcome = S_OK;
    for (const SchemeRow& row : start.manifest.rows) {
        if (job.Stopped()) {
            outcome = E_ABORT;
            break;
        }
        FileDecision decision;
        if (int code = Decide(job, start, row, all, decision)) {
            if (code == ECANCELED) {
                outcome = E_ABORT;
                break;
            }
            report.Error(kTitle, row.path + L": cannot read the client's file: " + ErrnoText(code));
            ++failed;
            continue;
        }
        const bool installed = state.count(row.path) && state[row.path].installed;
        if (!decision.fetch) {
            state[row.path] = SchemeRow{row.path, decision.now.size, decision.now.modified, decision.now.mode,
                                        decision.localSha, installed};
            ++same;
            continue;
        }
        LocalFile placed;
        std::wstring why;
        const HRESULT hr = FetchInPlace(job, row, decision.changedHere, placed, why);
        if (hr == E_ABORT) {
            outcome = E_ABORT;
            break;
        }
        if (FAILED(hr)) {
            report.Error(kTitle, row.path + L": " + why);
            ++failed;
            continue;
        }
        if (decision.changedHere) {
            report.Status(kTitle, row.path + L" was changed here and is kept; the server's version is " +
                                      row.path + kNewSuffix);
            ++kept;
        } else {
            state[row.path] = SchemeRow{row.path, placed.size, placed.modified, placed.mode, row.sha256, installed};
            report.Progress(L"Fetched", row.path);
            ++fetched;
        }
    }

    // The state records what was placed even after a stop or a failure;
    // it takes the scheme file's serial only when every file came.
    SchemeFile next{SchemeKind::ClientState, start.state.serial, {}};
    if (outcome == S_OK && failed == 0) next.serial = start.manifest.serial;
    for (auto& [path, row] : state) next.rows.push_back(std::move(row));
    std::wstring why;
    if (!job.client->WriteState(next, why)) {
        report.Error(kTitle, why);
        if (outcome == S_OK) outcome = E_FAIL;
    }
    if (outcome == E_ABORT) {
        report.Status(kTitle, L"stopped: " + Counts(fetched, same, kept, failed));
        return E_ABORT;
    }
    report.Status(kTitle, Counts(fetched, same, kept, failed));
    return failed || outcome != S_OK ? E_FAIL : S_OK;
}

HRESULT RunPreview(const SyncJob& job) {
    const Report& report = *job.report;
    constexpr wchar_t kPreview[] = L"Scheme file";
    SyncStart start;
    if (HRESULT hr = BeginSync(job, kPreview, start); hr != S_OK) return hr;
    report.Progress(kPreview, job.schemeName + L": serial " + std::to_wstring(start.manifest.serial) + L", " +
                                  std::to_wstring(start.manifest.rows.size()) + L" files; the client has serial " +
                                  std::to_wstring(start.state.serial));
    size_t fetch = 0, same = 0, kept = 0;
    for (const SchemeRow& row : start.manifest.rows) {
        if (job.Stopped()) return E_ABORT;
        FileDecision decision;
        if (int code = Decide(job, start, row, false, decision)) {
            if (code == ECANCELED) return E_ABORT;
            report.Error(kPreview, row.path + L": cannot read the client's file: " + ErrnoText(code));
            return E_FAIL;
        }
        if (!decision.fetch) {
            ++same;
        } else if (decision.changedHere) {
            report.Progress(L"Would keep", row.path + L" (changed here; the server's version would go to " +
                                               row.path + kNewSuffix + L")");
            ++kept;
        } else {
            report.Progress(L"Would fetch", row.path);
            ++fetch;
        }
    }
    report.Status(kPreview, std::to_wstring(fetch) + L" to fetch, " + std::to_wstring(same) + L" unchanged, " +
                                std::to_wstring(kept) + L" changed here");
    return S_OK;
}

} // namespace host::fas
