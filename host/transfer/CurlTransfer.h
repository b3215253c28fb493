// The one transfer class over libcurl: every URL the host moves goes through
// it (http, https, ftp, ftps and sftp; redirects only to http and https).
// This header keeps libcurl out of sight; CurlTransfer.cpp is the only file
// that includes curl.h.
//
// One CurlTransfer runs one transfer on the caller's thread with one easy
// handle of its own; objects on other threads run independently. Two
// limits, both in milliseconds, watch it:
//   firstByte  to connect, and for the first byte of an answer to arrive;
//   pause      the longest time without a byte once the answer flows.
// Nothing caps the length of a whole transfer: a healthy download of any
// size runs to its end. A set stop flag ends the transfer within about a
// second with E_ABORT.
//
// Error texts are short, for people, and never carry a password: the URL is
// never quoted whole, only its host name where one helps.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "host/transfer/FetchScheme.h"

namespace host {

struct TransferLimits {
    static constexpr std::chrono::milliseconds kDefault{30000};
    std::chrono::milliseconds firstByte = kDefault;
    std::chrono::milliseconds pause = kDefault;
};

class CurlTransfer final {
public:
    // Called on the transfer's thread as bytes arrive, often (several times a
    // second): `received` counts from the start of the resource, `total` is
    // the resource's length or 0 while unknown. The caller sets the pace.
    using ProgressSink = std::function<void(int64_t received, int64_t total)>;

    // `url` in UTF-8; `stop` may be null. The sink may be empty.
    CurlTransfer(std::string url, TransferLimits limits, const std::atomic<bool>* stop, ProgressSink progress);
    ~CurlTransfer();
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    // Fetches the resource into `fd` (FetchRequest's rules): with an offset
    // and a validator over http(s) it asks for the rest of that version and
    // appends it; otherwise, or when the server sends the whole resource, it
    // truncates the file and writes from 0. An answer code of 400 or more
    // writes nothing. Memory stays bounded: bytes go to the file as they
    // come. Call once per object.
    // `versionKnown` as FetchRequest::versionKnown.
    FetchResult Fetch(int fd, int64_t offset, const std::string& validator,
                      const std::function<void(const std::string&)>& versionKnown = {});

private:
    class Session; // the easy handle and the state its callbacks share
    std::string m_url;
    TransferLimits m_limits;
    const std::atomic<bool>* m_stop;
    ProgressSink m_progress;
};

} // namespace host
