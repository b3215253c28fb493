// The operations of the service, each run on the caller's thread with one
// job: the server's location face, the client folder, the scheme file's
// name, the stop flag and where lines go. Each returns S_OK when its action
// completed, E_ABORT when stopped, E_FAIL otherwise (the reason reported).
//
// What each does to the sides, and why a stop or a failure at any moment
// leaves both consistent, is stated in FASService.h.
#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <string>

#include "host/archive/ClientFolder.h"
#include "host/archive/Report.h"
#include "host/archive/SchemeFile.h"
#include "host/transfer/LocationScheme.h"

namespace host::fas {

struct SyncJob {
    ILocationScheme* server = nullptr;
    ClientFolder* client = nullptr;
    std::wstring schemeName;
    const std::atomic<bool>* stop = nullptr;
    const Report* report = nullptr;

    bool Stopped() const { return stop && stop->load(); }
};

HRESULT RunUpdate(const SyncJob& job, bool all);
HRESULT RunInstall(const SyncJob& job, bool all);
HRESULT RunCommit(const SyncJob& job);
// Shows what an update would do; changes nothing.
HRESULT RunPreview(const SyncJob& job);
// Writes the scheme file describing `described` into `target`'s location,
// with the serial after the one there; `files` receives the rows written.
HRESULT RunSave(ILocationScheme* described, ILocationScheme* target, const std::wstring& schemeName,
                const std::atomic<bool>* stop, const Report& report, int32_t& files);

// What an update or install starts from: the server's scheme file (checked,
// not older than the client's state), the client's state and listing.
struct SyncStart {
    SchemeFile manifest;
    SchemeFile state;
    std::map<std::wstring, const SchemeRow*> recorded; // the state's rows by path
    LocalListing local;
};
// E_FAIL (reported) when the scheme file is missing, damaged or older than
// the state, or the client cannot be read.
HRESULT BeginSync(const SyncJob& job, const wchar_t* title, SyncStart& start);

// What to do about one file of the scheme file.
struct FileDecision {
    bool present = false; // the client has the file
    bool fetch = false;   // the server's version is to be fetched
    // The client's file differs from what the service last placed or saw,
    // or something that is no file (a link, a folder) stands in its place.
    bool changedHere = false;
    std::string localSha;
    LocalFile now;
};
// 0, ECANCELED or the errno of reading the client's file.
int Decide(const SyncJob& job, const SyncStart& start, const SchemeRow& row, bool all, FileDecision& out);

// Fetches the server's file `row.path` into `.LEAF.fas-part` in the target's
// folder, checks size and SHA-256 against the row, and renames it to `leaf`
// (or to `leaf` + ".fas-new" when `asNew`). Returns S_OK, E_ABORT, or E_FAIL
// with the reason in `why`.
HRESULT FetchInPlace(const SyncJob& job, const SchemeRow& row, bool asNew, LocalFile& placed, std::wstring& why);

// Checks the content of an open file against a row: "" when it matches,
// else why not.
std::wstring CheckAgainst(int fd, const SchemeRow& row, const std::atomic<bool>* stop, bool& stopped);

} // namespace host::fas
