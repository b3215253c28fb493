// The one transfer class over libcurl: every URL the host moves goes through
// it (http, https, ftp, ftps and sftp; redirects only to http and https).
// This header keeps libcurl out of sight; CurlTransfer.cpp is the only file
// that includes curl.h.
//
// One CurlTransfer runs one transfer on the caller's thread with one easy
// handle of its own; objects on other threads run independently. Transfers
// given the same CurlConnections share its open connections, so a run of
// requests to one server connects and logs in once. Besides
// fetching into a file (Fetch), it runs the other requests a location needs
// (Perform): an upload from a reader, a WebDAV method, a size query, server
// commands, a listing into memory with a bound. Two
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
#include <memory>
#include <string>
#include <vector>

#include "host/transfer/FetchScheme.h"

namespace host {

struct TransferLimits {
    static constexpr std::chrono::milliseconds kDefault{30000};
    std::chrono::milliseconds firstByte = kDefault;
    std::chrono::milliseconds pause = kDefault;
};

// A request other than a fetch into a file. Unset fields keep libcurl's
// behaviour for the URL's protocol (GET, RETR, an sftp read, a folder
// listing when the URL ends with "/").
struct CurlRequest {
    // http(s): the method ("MKCOL", "MOVE", "PROPFIND"); ftp: the listing
    // command sent for a folder URL ("MLSD").
    std::string method{};
    std::vector<std::string> headers{}; // http(s) only, "Name: value"
    std::string body{};               // http(s): sent as the request's body
    // ftp and sftp: commands run after the transfer, in the folder of the
    // URL for ftp; a leading "*" lets a command fail without failing the
    // request.
    std::vector<std::string> quote{};
    // Only the size of the resource is wanted: http HEAD, ftp SIZE, for sftp
    // the size the server states before the first byte (the read stops
    // there). Found in CurlReply::length.
    bool sizeOnly = false;
    // An upload (http PUT, ftp STOR, sftp write) of exactly `uploadSize`
    // bytes from `read` (LocationScheme.h's ContentReader contract). Content
    // that ends early or runs past the size fails the request.
    std::function<int64_t(void* buffer, size_t capacity)> read{};
    int64_t uploadSize = -1;
    bool createFolders = false; // ftp and sftp uploads make missing folders
    // The most answer bytes kept in CurlReply::body; more fails the request
    // (so a listing cannot fill the memory). 0 drops the body.
    size_t keep = 0;
};

struct CurlReply {
    // E_FAIL only for a failed transfer: an http answer of any code is a
    // success here, for the caller to judge by `status`.
    TransferError error;
    long status = 0;      // the http answer code (also in error.httpStatus)
    std::string reason;   // its reason phrase, when it has one
    std::string body;     // the answer, up to the request's `keep` bytes
    int64_t length = -1;  // the size the answer states, -1 when none
    // The server says the file or folder is not there (http 404; ftp and
    // sftp: no such file, or a folder that cannot be entered).
    bool missing = false;
    // Connections the request opened: 0 when it reused one of its pool.
    long connected = 0;
};

// Open connections that transfers share. A transfer given the pool takes an
// idle connection to its server (same host, port, protocol and login) from
// it, and leaves its own there when it ends; one the library cannot trust
// after a cut-off transfer (a stop, a lost line) is closed instead. Safe to use from several threads: a
// connection serves one transfer at a time. Connections idle for more than
// a minute are not reused; the pool closes the rest when it goes.
class CurlConnections final {
public:
    CurlConnections();
    ~CurlConnections();
    CurlConnections(const CurlConnections&) = delete;
    CurlConnections& operator=(const CurlConnections&) = delete;

private:
    friend class CurlTransfer;
    struct Shared; // the library's share handles, one per way of checking a server
    std::unique_ptr<Shared> m_shared;
};

class CurlTransfer final {
public:
    // Called on the transfer's thread as bytes arrive, often (several times a
    // second): `received` counts from the start of the resource, `total` is
    // the resource's length or 0 while unknown. The caller sets the pace.
    using ProgressSink = std::function<void(int64_t received, int64_t total)>;

    // `url` in UTF-8; `stop` may be null. The sink may be empty. Without
    // `connections` the transfer opens a connection of its own and closes it
    // when it ends; the pool must outlive the object.
    CurlTransfer(std::string url, TransferLimits limits, const std::atomic<bool>* stop, ProgressSink progress,
                 CurlConnections* connections = nullptr);
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

    // Runs `request` on the object's URL. Progress reports, when any, count
    // the bytes sent by an upload. Call once per object.
    CurlReply Perform(const CurlRequest& request);

private:
    class Session; // the easy handle and the state its callbacks share
    std::string m_url;
    TransferLimits m_limits;
    const std::atomic<bool>* m_stop;
    ProgressSink m_progress;
    CurlConnections* m_connections;
};

} // namespace host
