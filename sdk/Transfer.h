// Transfers: the URL schemes ("URLhttp", "URLFile"), the link that runs one
// transfer through a scheme ("URLLink"), and the progress events a scheme
// sends while it works.
#pragma once

#include "Parameters.h"
#include "Streams.h"
#include "Strings.h"

// A URL scheme: how names are reached and moved (http, https, ftp, ftps and
// sftp through "URLhttp"; local paths and file:// URLs through "URLFile").
// A scheme also answers IEventSource: a listener advised with on = 1 that
// answers _IUIProgressEvent receives the progress of the scheme's transfers.
// Advise(listener, 0) returns only when no progress call to that listener is
// still running, so a listener may be released right after it.
struct IFileArchiveScheme : IUnknown {
    // Settings the scheme reads, each when present, when they are given:
    //   "TIMEOUT1"           milliseconds to connect and to receive the
    //                        first byte of an answer (default 30000)
    //   "TIMEOUTSUBSEQUENT"  the longest pause, in milliseconds, between two
    //                        pieces of data once data flows (default 30000)
    //   "HOSTNAME"           the location relative names are taken under
    // Neither limit caps the length of a whole transfer. 0 or less keeps the
    // default. The scheme keeps its own copy of the values.
    virtual HRESULT put_Parameters(IParameters* parameters) = 0;

    // Sends the whole content of `data` (read from its start) to the file
    // `name` at the scheme's location. `name` is relative to the location
    // and may hold "/" between folders; missing folders are made. The data
    // goes to a work name beside the target first and is renamed over the
    // target only when complete and verified (the destination reports the
    // size sent), so the target holds its old content or all of the new one.
    // S_OK only then; E_FAIL otherwise (the reason in "EventLogGlobal", a
    // URL's password never in it); E_INVALIDARG for a null argument, a name
    // that is empty, absolute or holds "..", or a scheme without location.
    virtual HRESULT Transfer(IString* name, IDataStream* data) = 0;

    // Removes one file: `pathOrName` is either the file's full path or URL
    // under the location, or a name relative to it. Only files are removed,
    // never folders. S_OK when it is gone; E_FAIL otherwise (a file that was
    // not there included); E_INVALIDARG as for Transfer.
    virtual HRESULT Delete(IString* pathOrName) = 0;
};

// A location seen as a listing: the schemes ("URLhttp", "URLFile") and the
// host's folder listing ("FileNameCollection") answer IFileNameCollection,
// ISuperCollection and IFileArchiveScheme on the same object. For a scheme
// put_Folder and the "HOSTNAME" setting name the same location (the one
// given last holds); for a listing the folder is the location. Scan lists
// the files directly in the location (IFileNameCollection's options as far
// as they apply); each entry answers IFileArchive (get_Filename its full
// path or URL, get_Name its name) and IFileAttributes; a component that
// needs an entry's content opens its path as a host "File". An entry
// removed through Delete leaves the listing, so the entries after it move
// up by one; IUIRefreshableObject's Refresh(0) and IUIManager's Update(0)
// keep the listing as it is.

// The progress of a transfer. `received` and `total` are byte counts, both
// clamped to 0..2^31-1; `total` is 0 while the size is unknown. `source` is
// the scheme, `extra` the link that runs the transfer (either may be null).
// Calls come from the thread doing the transfer, a few a second and one
// last call when the transfer ends well.
struct _IUIProgressEvent : IUnknown {
    virtual HRESULT Progress(IUnknown* source, int32_t received, int32_t total, IUnknown* extra) = 0;
};

// One transfer between a URL and a local file through a scheme. The link
// also answers IStep: IsRunning is true while a transfer started in the
// background runs, TurnOff stops it promptly (E_ABORT becomes its outcome),
// TurnOn starts a download as Start(0, 0, 1) does.
//
// A download goes to a work file in the local file's folder and is renamed
// over the local file only when complete and checked (the scheme's status,
// the promised length). A failure or a stop leaves nothing under the local
// file's name; what arrived may stay under the work name, only so that the
// next Start of the same URL into the same file resumes it (when the server
// honours ranges for the same version of the resource; otherwise the
// download starts over). Every failure is written to "EventLogGlobal".
struct IURLLink : IUnknown {
    virtual HRESULT put_URL(IString* url) = 0;
    virtual HRESULT put_LocalFile(IString* path) = 0;
    // The scheme object (IFileArchiveScheme) that carries the transfer.
    virtual HRESULT put_Scheme(IUnknown* scheme) = 0;
    // direction: 0 fetches the URL into the local file (other values are
    //            refused with E_INVALIDARG);
    // restart:   0 resumes an interrupted download when it can, 1 throws
    //            away what an earlier attempt left and starts over;
    // background: 1 runs the transfer on a worker thread and returns at
    //            once (E_FAIL when one is already running); 0 runs it on
    //            the caller's thread and returns its outcome.
    // Missing URL, local file or scheme: E_INVALIDARG, nothing started.
    virtual HRESULT Start(int32_t direction, int32_t restart, int32_t background) = 0;
    // The outcome of the last transfer that ended: `status` S_OK when the
    // file arrived whole, E_ABORT when stopped, E_FAIL when it failed, and
    // S_FALSE while none has ended yet. `code` is the transfer library's or
    // the system's error number (0 when none), `httpStatus` the server's
    // last answer code (0 when none), `text` the reason for people (empty on
    // success). Any output may be null.
    virtual HRESULT get_LastError(HRESULT* status, int32_t* code, int32_t* httpStatus, IString** text) = 0;
};
