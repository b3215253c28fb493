// "FASService": keeps a client folder in step with a server location by the
// server's scheme file (IFASService, sdk/FileArchiveService.h). Each side is
// a scheme queried for its location face (host/transfer/LocationScheme.h);
// the client must be a local folder, the server any location a scheme
// reaches (whose times may be unknown). Formats: SchemeFile.h; the client's
// own entries: ClientFolder.h.
//
// Update (mode 0) fetches the files whose content (SHA-256) differs from the
// client's, UpdateAll (1) every file; each goes to ".NAME.fas-part" in its
// target's folder, is checked against the scheme file's size and SHA-256,
// and only then renamed over NAME. Nothing is deleted.
// Install (2) and InstallAll (3) fetch into the staging folder and check
// every file there first; when one fails or a stop comes, nothing is put in
// place. Then all are renamed into place, and files an earlier install
// placed that the scheme file no longer names are removed when unchanged
// here. An install counts as the client's last update.
// Both refuse a scheme file whose serial is below the client's (no
// rollback), one that is damaged or altered, and one that names the
// client's own entries. A client file changed since the service last placed or saw it
// (or one it never saw that differs) is never replaced: the server's
// version goes beside it as NAME.fas-new, and the line says so.
//
// Commit uploads the client's changed files (by hash) and then, last, the
// next scheme file; it is refused when the server's serial is not the one
// the client last updated to, and when a changed file still has a
// NAME.fas-new beside it. Commit and CommitAll are the same call: files
// deleted on the client are left out of the new scheme file and left on the
// server (an install elsewhere then removes them); see Commit.cpp for why a
// commit cut off half way never makes a reader accept a wrong file.
//
// Stop: every operation reads the flag between files and the transfers read
// it while they run; a stopped update keeps the files already placed whole
// and records them, a stopped install places nothing, a stopped commit
// writes no scheme file. The client's state is written whole under a work
// name and renamed. Speed: the hash the state recorded for a client file is
// trusted while its size and modification time (nanoseconds) are those
// recorded, so an update reads only the changed files; a time within two
// seconds of writing the state is not recorded (a coarse clock could hide
// a second change), and such a file is read once more next time.
//
// Threads: one operation at a time (another call meanwhile fails with
// E_FAIL); Stop and IsRunning from any thread. Lines go to the line
// display; failures also to "EventLogGlobal".
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "host/archive/Report.h"
#include "host/base/HostObject.h"
#include "host/transfer/LocationScheme.h"
#include "sdk/FileArchiveService.h"

namespace host {

class FASService final : public HostObject<IFASService> {
public:
    // The scheme file's name when none is given.
    static constexpr wchar_t kDefaultSchemeFile[] = L"scheme.fas";

    FASService() = default;

    HRESULT Transfer(IFileArchiveScheme* server, IFileArchiveScheme* client, int32_t mode) override;
    HRESULT Commit(IFileArchiveScheme* client, IFileArchiveScheme* server) override;
    // E_INVALIDARG for a name that is not a relative name.
    HRESULT put_SchemeFile(IString* name) override;
    HRESULT put_LineDisplay(IUILineDisplayable* display) override;
    HRESULT Stop() override;
    HRESULT IsRunning() override;
    HRESULT SaveSchemeFile(IFileArchiveScheme* described, IFileArchiveScheme* target, int32_t* files) override;
    HRESULT LoadSchemeFile(IFileArchiveScheme* server, IFileArchiveScheme* client) override;

private:
    enum class Action { Update, UpdateAll, Install, InstallAll, Commit, Preview };

    ~FASService() override = default;

    // Reports a missing argument; E_INVALIDARG.
    HRESULT Refuse(const wchar_t* what);
    HRESULT RunSync(IFileArchiveScheme* server, IFileArchiveScheme* client, Action action);

    // One operation over two sides' location faces, with the scheme-file
    // name and the display as set when it starts. Refused (reported under
    // `title`, E_FAIL) when a side is no location or another operation
    // runs; an exception is reported as a failure.
    using Operation = std::function<HRESULT(ILocationScheme* first, ILocationScheme* second,
                                            const std::wstring& schemeName, fas::Report& report)>;
    HRESULT RunExclusive(const wchar_t* title, IFileArchiveScheme* first, IFileArchiveScheme* second,
                         const Operation& work);

    std::mutex m_lock; // guards the two settings
    std::wstring m_schemeName{kDefaultSchemeFile};
    IPtr<IUILineDisplayable> m_display;
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_stop{false};
};

HRESULT CreateFASService(const IID* iid, void** out);

} // namespace host
