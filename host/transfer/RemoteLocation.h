// The files of one remote location, a URL of a folder (http(s) with WebDAV,
// ftp(s), sftp), reached by relative names: the work behind the
// ILocationScheme face of "URLhttp" (LocationScheme.h states the contract).
//
// Every request is one CurlTransfer on the caller's thread, with the
// limits and stop flag given, taking its connection from the pool given
// (the owner's, so that the requests of a run share one login); an object
// may be used by one thread at a time (make one per operation).
//
// A sent file goes to a work name in the target's folder, is checked by
// the size the server reports for it, is moved over the target, and the
// target's size is checked again:
//   WebDAV  MKCOL of each missing folder, PUT, HEAD, MOVE (Overwrite: T)
//   ftp     STOR (missing folders made), SIZE, RNFR/RNTO, SIZE
//   sftp    write (missing folders made), size at open, rm + rename, size
// An sftp rename cannot replace a file, so the old target is removed just
// before: for that moment neither version is under the target's name (the
// new one is complete under the work name). On any failure the work file is
// removed where the server lets it be.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "host/transfer/CurlTransfer.h"
#include "host/transfer/LocationScheme.h"

namespace host {

class RemoteLocation final {
public:
    // `location` as the "HOSTNAME" setting gives it; `progress` (may be
    // empty) hears the bytes of a fetch or an upload; `connections` may be
    // null (every request connects anew) and must outlive the object.
    RemoteLocation(const std::wstring& location, TransferLimits limits, CurlTransfer::ProgressSink progress,
                   CurlConnections* connections);

    FetchResult FetchFile(const std::wstring& name, int fd, const std::atomic<bool>* stop);
    TransferError PutFile(const std::wstring& name, const ILocationScheme::ContentReader& read, int64_t size,
                          const std::atomic<bool>* stop);
    TransferError Rename(const std::wstring& from, const std::wstring& to, const std::atomic<bool>* stop);
    TransferError RemoveFile(const std::wstring& name, const std::atomic<bool>* stop);
    TransferError List(const std::wstring& folder, std::vector<LocationEntry>& entries, const std::atomic<bool>* stop);

private:
    enum class Protocol { None, Dav, Ftp, Sftp };

    std::string Url(const std::string& relative) const;       // a file
    std::string FolderUrl(const std::string& folder) const;   // ends with "/"
    std::string SftpPath(const std::string& relative) const;  // quoted for a command
    CurlReply Run(const std::string& url, const CurlRequest& request, const std::atomic<bool>* stop,
                  bool withProgress = false) const;

    TransferError MakeDavFolders(const std::string& folder, const std::atomic<bool>* stop);
    // The size the server reports for the file; -1 with the error when it
    // cannot tell.
    int64_t SizeOf(const std::string& relative, TransferError& error, const std::atomic<bool>* stop);
    // Moves `from` over `to`, both relative to the location.
    TransferError MoveOver(const std::string& from, const std::string& to, const std::atomic<bool>* stop);
    TransferError Remove(const std::string& relative, const std::atomic<bool>* stop);
    TransferError ListRaw(const std::string& folder, std::vector<LocationEntry>& entries,
                          const std::atomic<bool>* stop);

    Protocol m_protocol = Protocol::None;
    std::string m_base;      // the location in UTF-8 without trailing "/"
    std::string m_basePath;  // its path as written (escaped), "" for the root
    TransferLimits m_limits;
    CurlTransfer::ProgressSink m_progress;
    CurlConnections* m_connections;
};

// A relative name as LocationScheme.h allows it, in UTF-8: not empty, not
// absolute, no empty, "." or ".." part, no control character or "\".
// `folder` also allows the empty name (the location itself).
bool ReadRelativeName(const std::wstring& name, bool folder, std::string& utf8);

} // namespace host
