// Writing the scheme file of one side: a local folder is read directly
// (with the hashes of its state, or of the scheme file being replaced,
// trusted for files whose size and time are unchanged); any other
// location is listed and each file fetched once to be hashed.
#include <cerrno>

#include "host/archive/LocationAccess.h"
#include "host/archive/SyncJob.h"
#include "host/text/ErrnoText.h"

namespace host::fas {

namespace {

constexpr wchar_t kTitle[] = L"Scheme file";

// `previous`: the scheme file this one replaces in the same folder, whose
// hashes are trusted like the state's. Trusting one wrongly cannot harm a
// client: a file that does not match its row is refused there.
HRESULT DescribeLocal(ClientFolder& folder, const std::wstring& schemeName, const SchemeFile* previous,
                      const std::atomic<bool>* stop, const Report& report, std::vector<SchemeRow>& rows) {
    SchemeFile state;
    std::wstring why;
    if (!folder.ReadState(state, why)) state = SchemeFile{}; // no trusted hashes then
    std::map<std::wstring, const SchemeRow*> recorded;
    if (previous)
        for (const SchemeRow& row : previous->rows) recorded[row.path] = &row;
    for (const SchemeRow& row : state.rows) recorded[row.path] = &row;
    LocalListing local;
    std::wstring failed;
    if (int code = folder.List(schemeName, stop, local, failed)) {
        if (code == ECANCELED) return E_ABORT;
        report.Error(kTitle, L"cannot read the folder " + folder.Shown() + L"/" + failed + L": " + ErrnoText(code));
        return E_FAIL;
    }
    for (const auto& [path, now] : local) {
        const auto seen = recorded.find(path);
        std::string sha;
        if (int code = folder.Hash(path, now, seen == recorded.end() ? nullptr : seen->second, stop, sha)) {
            if (code == ECANCELED) return E_ABORT;
            report.Error(kTitle, path + L": cannot read it: " + ErrnoText(code));
            return E_FAIL;
        }
        rows.push_back(SchemeRow{path, now.size, now.modified, now.mode, sha, false});
    }
    return S_OK;
}

HRESULT DescribeRemote(ILocationScheme* side, const std::wstring& schemeName, const std::atomic<bool>* stop,
                       const Report& report, std::vector<SchemeRow>& rows) {
    RemoteListing listing;
    TransferError error = ListRemote(
        side, [&](const std::wstring& name, bool) { return IsServiceEntry(name, schemeName); }, stop, listing);
    if (error.status == E_ABORT) return E_ABORT;
    if (FAILED(error.status)) {
        report.Error(kTitle, L"cannot list " + side->Location() + L": " + error.text);
        return E_FAIL;
    }
    for (const auto& [path, entry] : listing) {
        ScopedFD file;
        error = FetchToTemp(side, path, stop, file);
        std::string sha;
        int64_t size = 0;
        int code = FAILED(error.status) ? 0 : HashFile(file.Get(), stop, sha, size);
        if (error.status == E_ABORT || code == ECANCELED) return E_ABORT;
        if (FAILED(error.status) || code) {
            report.Error(kTitle, path + L": " + (code ? ErrnoText(code) : error.text));
            return E_FAIL;
        }
        rows.push_back(SchemeRow{path, size, entry.modified, 0, sha, false});
        report.Progress(L"Hashed", path);
    }
    return S_OK;
}

} // namespace

HRESULT RunSave(ILocationScheme* described, ILocationScheme* target, const std::wstring& schemeName,
                const std::atomic<bool>* stop, const Report& report, int32_t& files) {
    std::optional<SchemeFile> there;
    TransferError error = ReadSchemeFileAt(target, schemeName, stop, there);
    if (error.status == E_ABORT) return E_ABORT;
    if (FAILED(error.status)) {
        // Its serial is unknown, and the next one must be higher.
        report.Error(kTitle, L"cannot read the scheme file already at " + target->Location() + L": " + error.text);
        return E_FAIL;
    }
    SchemeFile next{SchemeKind::Manifest, there ? there->serial + 1 : 1, {}};
    HRESULT hr;
    ClientFolder local;
    std::wstring why;
    if (const std::optional<std::string> path = LocalFolderOf(described->Location())) {
        if (!local.Open(*path, why)) {
            report.Error(kTitle, why);
            return E_FAIL;
        }
        const bool sameFolder = there && described->Location() == target->Location();
        hr = DescribeLocal(local, schemeName, sameFolder ? &*there : nullptr, stop, report, next.rows);
    } else {
        hr = DescribeRemote(described, schemeName, stop, report, next.rows);
    }
    if (hr != S_OK) return hr;
    error = PutBytes(target, schemeName, FormatSchemeFile(next), stop);
    if (error.status == E_ABORT) return E_ABORT;
    if (FAILED(error.status)) {
        report.Error(kTitle, L"cannot write " + schemeName + L" at " + target->Location() + L": " + error.text);
        return E_FAIL;
    }
    files = static_cast<int32_t>(next.rows.size());
    report.Status(kTitle, schemeName + L" written at " + target->Location() + L": serial " +
                              std::to_wstring(next.serial) + L", " + std::to_wstring(next.rows.size()) + L" files");
    return S_OK;
}

} // namespace host::fas
