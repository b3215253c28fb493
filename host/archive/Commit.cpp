// Commit: the client's changed files go to the server, then the next scheme
// file, last. A reader of the old scheme file who meets a file already
// replaced finds its SHA-256 differs and refuses it (an update leaves that
// file as it was, an install puts nothing in place), so a commit cut off
// between the files and the scheme file never makes a reader accept a
// wrong file; the next commit or update repairs the server.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>

#include "host/archive/LocationAccess.h"
#include "host/archive/Sha256.h"
#include "host/archive/SyncJob.h"
#include "host/text/ErrnoText.h"

namespace host::fas {

namespace {

constexpr wchar_t kTitle[] = L"Commit";

// Sends the client's file `name` through the server's PutFile, hashing
// exactly the bytes sent, which is what the scheme file will then name.
TransferError Send(const SyncJob& job, const std::wstring& name, int64_t& size, std::string& sha256) {
    ScopedFD file;
    TransferError error;
    if (int code = OpenFile(job.client->Root(), name, file)) {
        error.status = E_FAIL;
        error.code = code;
        error.text = L"cannot read it: " + ErrnoText(code);
        return error;
    }
    struct stat info {};
    ::fstat(file.Get(), &info);
    size = info.st_size;
    Sha256 digest;
    int64_t offset = 0;
    auto read = [&](void* buffer, size_t capacity) -> int64_t {
        const size_t want = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(capacity), size - offset));
        if (want == 0) return 0;
        ssize_t n;
        do n = ::pread(file.Get(), buffer, want, offset);
        while (n < 0 && errno == EINTR);
        if (n < 0) return -1;
        digest.Add(buffer, static_cast<size_t>(n));
        offset += n;
        return n;
    };
    error = job.server->PutFile(name, read, size, job.stop);
    if (SUCCEEDED(error.status) && offset != size) {
        error.status = E_FAIL;
        error.text = L"it changed while it was sent";
    }
    if (SUCCEEDED(error.status)) sha256 = digest.Hex();
    return error;
}

} // namespace

HRESULT RunCommit(const SyncJob& job) {
    const Report& report = *job.report;
    std::optional<SchemeFile> manifest;
    TransferError error = ReadSchemeFileAt(job.server, job.schemeName, job.stop, manifest);
    if (error.status == E_ABORT) return E_ABORT;
    if (FAILED(error.status)) {
        report.Error(kTitle, L"cannot read the scheme file " + job.schemeName + L": " + error.text);
        return E_FAIL;
    }
    const SchemeFile current = manifest ? *manifest : SchemeFile{};
    SchemeFile state;
    std::wstring why;
    if (!job.client->ReadState(state, why)) {
        report.Error(kTitle, why);
        return E_FAIL;
    }
    // Only a client that has the server's latest version may replace it:
    // otherwise the commit would undo changes it never saw.
    if (current.serial != state.serial) {
        report.Error(kTitle, L"the server's scheme file moved on to serial " + std::to_wstring(current.serial) +
                                 L" since " + job.client->Shown() + L" last updated (serial " +
                                 std::to_wstring(state.serial) + L"): update first, then commit");
        return E_FAIL;
    }

    std::map<std::wstring, const SchemeRow*> recorded, onServer;
    for (const SchemeRow& row : state.rows) recorded[row.path] = &row;
    for (const SchemeRow& row : current.rows) onServer[row.path] = &row;
    LocalListing local;
    std::set<std::wstring> pendingNew;
    std::wstring failed;
    int code = ListLocal(
        job.client->Root(),
        [&](const std::wstring& name, bool folder) {
            if (!folder && name.size() > 8 && name.ends_with(kNewSuffix))
                pendingNew.insert(name.substr(0, name.size() - 8));
            return IsServiceEntry(name, job.schemeName);
        },
        job.stop, local, failed);
    if (code == ECANCELED) return E_ABORT;
    if (code) {
        report.Error(kTitle, L"cannot read the folder " + job.client->Shown() + L"/" + failed + L": " +
                                 ErrnoText(code));
        return E_FAIL;
    }

    // The rows of the next scheme file: every client file, by its hash now.
    // A file deleted here is left out of it (so that an install elsewhere
    // removes it) but not removed from the server: readers of the current
    // scheme file may still fetch it.
    std::vector<SchemeRow> rows;
    std::vector<size_t> changed;
    for (const auto& [path, now] : local) {
        if (job.Stopped()) return E_ABORT;
        const auto seen = recorded.find(path);
        std::string sha;
        if (int hashCode = job.client->Hash(path, now, seen == recorded.end() ? nullptr : seen->second, job.stop,
                                            sha)) {
            if (hashCode == ECANCELED) return E_ABORT;
            report.Error(kTitle, path + L": cannot read it: " + ErrnoText(hashCode) + L"; nothing was committed");
            return E_FAIL;
        }
        const auto server = onServer.find(path);
        if (server == onServer.end() || server->second->sha256 != sha) {
            if (pendingNew.count(path)) {
                report.Error(kTitle, path + L" was changed here and on the server; merge " + path + kNewSuffix +
                                         L" into it and remove that file, then commit");
                return E_FAIL;
            }
            changed.push_back(rows.size());
        }
        rows.push_back(SchemeRow{path, now.size, now.modified, now.mode, sha, false});
    }
    size_t deleted = 0;
    for (const SchemeRow& row : current.rows) deleted += local.count(row.path) ? 0 : 1;
    if (changed.empty() && deleted == 0 && manifest) {
        report.Status(kTitle, L"nothing to commit: the server has serial " + std::to_wstring(current.serial));
        return S_OK;
    }

    for (size_t i : changed) {
        if (job.Stopped()) return E_ABORT;
        SchemeRow& row = rows[i];
        int64_t size = 0;
        std::string sha;
        error = Send(job, row.path, size, sha);
        if (error.status == E_ABORT) {
            report.Status(kTitle, L"stopped; the scheme file was not written");
            return E_ABORT;
        }
        if (FAILED(error.status)) {
            report.Error(kTitle, row.path + L": " + error.text + L"; the scheme file was not written");
            return E_FAIL;
        }
        if (sha != row.sha256 || size != row.size) {
            // Changed since it was listed: the scheme file names what was
            // sent, and the state's time no longer vouches for the hash.
            row.sha256 = sha;
            row.size = size;
            row.modified = 0;
        }
        report.Progress(L"Uploaded", row.path);
    }

    // Nobody may have committed meanwhile; the window left between this
    // look and the write is the one a location without locks has.
    std::optional<SchemeFile> again;
    error = ReadSchemeFileAt(job.server, job.schemeName, job.stop, again);
    if (error.status == E_ABORT) return E_ABORT;
    if (FAILED(error.status) || (again ? again->serial : 0) != current.serial) {
        report.Error(kTitle, L"the server's scheme file changed during the commit; the scheme file was not written");
        return E_FAIL;
    }
    SchemeFile next{SchemeKind::Manifest, current.serial + 1, rows};
    const std::vector<SchemeRow> forState = next.rows;
    error = PutBytes(job.server, job.schemeName, FormatSchemeFile(next), job.stop);
    if (error.status == E_ABORT) return E_ABORT;
    if (FAILED(error.status)) {
        report.Error(kTitle, L"cannot write the scheme file " + job.schemeName + L": " + error.text);
        return E_FAIL;
    }

    SchemeFile newState{SchemeKind::ClientState, next.serial, {}};
    for (SchemeRow row : forState) {
        const auto seen = recorded.find(row.path);
        row.installed = seen != recorded.end() && seen->second->installed;
        newState.rows.push_back(std::move(row));
    }
    if (!job.client->WriteState(newState, why)) {
        report.Error(kTitle, why + L" (the server has serial " + std::to_wstring(next.serial) + L")");
        return E_FAIL;
    }
    report.Status(kTitle, std::to_wstring(changed.size()) + L" uploaded, " + std::to_wstring(deleted) +
                              L" left out as deleted here; the server has serial " + std::to_wstring(next.serial));
    return S_OK;
}

} // namespace host::fas
