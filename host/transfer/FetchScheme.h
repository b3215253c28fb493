// The face of a URL scheme ("URLhttp", "URLFile") that a link ("URLLink")
// drives: fetch one resource into a work file the link owns. Host-internal;
// components see only IFileArchiveScheme and IURLLink (sdk/Transfer.h).
//
// The link owns the work file and its name, decides whether to resume, and
// renames the work file into place when the fetch says it is complete; the
// scheme owns the protocol: connecting, time-outs, ranges, checks, and the
// progress events to its listeners.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "sdk/Framework.h"

namespace host {

// Why a transfer ended, for programs and for people.
struct TransferError {
    HRESULT status = S_OK;  // S_OK, E_ABORT (stopped) or E_FAIL
    int32_t code = 0;       // the transfer library's code or errno; 0 when none
    int32_t httpStatus = 0; // the server's last answer code; 0 when none
    // Why, in a few words, with the URL's password never in it:
    // "HTTP 404 Not Found", "connection refused", "no data for 5000 ms",
    // "no space left on device". Empty on success.
    std::wstring text;
};

struct FetchRequest {
    std::wstring url;
    // The work file, open for reading and writing. The fetch writes the
    // resource's bytes from `offset` on; when it has to start over it
    // truncates the file and writes from 0.
    int fd = -1;
    // Bytes already in the work file from an interrupted fetch of the same
    // URL; 0 fetches from the start.
    int64_t offset = 0;
    // What identified the resource when those bytes were fetched (an ETag,
    // or a Last-Modified date); the bytes are kept only when the server
    // still has that version and honours the range. Empty: start over.
    std::string validator;
    // Set by another thread to stop the fetch; it ends within about a
    // second with E_ABORT.
    const std::atomic<bool>* stop = nullptr;
    // Passed to progress listeners as the extra argument (may be null).
    IUnknown* link = nullptr;
    // Called once on the fetch's thread just before the first byte goes to
    // the work file (or when an empty answer arrives; not at all on a
    // failure before that), with the validator of the
    // version those bytes belong to (empty when the server names none), so
    // that a fetch cut off at any moment, the process included, leaves a
    // work file whose version is known. May be empty.
    std::function<void(const std::string& validator)> versionKnown;
};

struct FetchResult {
    TransferError error;
    // True only when every byte of the resource is in the work file and
    // the protocol's checks passed (answer code, promised length).
    bool complete = false;
    // Bytes in the work file when the fetch ended, counted from its start.
    int64_t size = 0;
    // The validator of the version fetched (ETag preferred, else
    // Last-Modified), empty when the server named none; kept by the link
    // beside an incomplete work file for the next attempt.
    std::string validator;
};

struct IFetchScheme : IUnknown {
    // Runs on the caller's thread until the fetch ends.
    virtual FetchResult Fetch(const FetchRequest& request) = 0;
};

inline const IID& FetchSchemeIID() {
    static const IID iid = __IIDOfc("IFetchScheme");
    return iid;
}

} // namespace host

template <>
struct InterfaceInfo<host::IFetchScheme> {
    using Parent = IUnknown;
    static const IID& Id() { return host::FetchSchemeIID(); }
};
