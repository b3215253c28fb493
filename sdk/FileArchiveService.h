// The host's file-archive-scheme service ("FASService"): keeps a client
// side in step with a server side, each a location reached through a
// scheme (sdk/Transfer.h), by the scheme file (manifest) the server keeps.
#pragma once

#include "ObjectInfo.h"
#include "Transfer.h"

// Transfer modes, the order of the "RunAction" choices.
enum FASMode : int32_t {
    FAS_UPDATE = 0,      // fetch the files whose content differs; delete nothing
    FAS_UPDATE_ALL = 1,  // fetch every file of the manifest
    FAS_INSTALL = 2,     // stage, verify all, then put in place; remove what an
                         // earlier install placed and the manifest no longer names
    FAS_INSTALL_ALL = 3, // as FAS_INSTALL, fetching every file
};

// The first six operations, in this order, are what a component relies on;
// the others serve the scheme-file verbs. An operation runs on the caller's
// thread; Stop and IsRunning may be called from any thread while one runs.
// Progress and failures go to the line display and to "EventLogGlobal".
struct IFASService : IUnknown {
    // Brings the client in step with the server by the server's scheme
    // file. S_OK when the action completed; E_ABORT when stopped; E_FAIL
    // otherwise; E_INVALIDARG for a null side or a mode outside 0 to 3.
    virtual HRESULT Transfer(IFileArchiveScheme* server, IFileArchiveScheme* client, int32_t mode) = 0;
    // Sends the client's changes to the server and writes the server's next
    // scheme file. Results as Transfer.
    virtual HRESULT Commit(IFileArchiveScheme* client, IFileArchiveScheme* server) = 0;
    // The scheme file's name, relative to the server's location (and to the
    // client's for the scheme-file verbs); empty or null: the default name.
    virtual HRESULT put_SchemeFile(IString* name) = 0;
    // Where progress lines go; null: nowhere.
    virtual HRESULT put_LineDisplay(IUILineDisplayable* display) = 0;
    // Asks the running operation to stop; it ends promptly with both sides
    // consistent. S_OK, also when nothing runs.
    virtual HRESULT Stop() = 0;
    // S_OK while an operation runs, S_FALSE otherwise.
    virtual HRESULT IsRunning() = 0;

    // Writes the scheme file describing `described` into `target`'s
    // location, with the next serial after the one already there; `files`
    // (may be null) receives the number of files it lists.
    virtual HRESULT SaveSchemeFile(IFileArchiveScheme* described, IFileArchiveScheme* target, int32_t* files) = 0;
    // Reads and checks the server's scheme file and shows what a transfer to
    // the client would do, changing nothing.
    virtual HRESULT LoadSchemeFile(IFileArchiveScheme* server, IFileArchiveScheme* client) = 0;
};
