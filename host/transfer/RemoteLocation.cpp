#include "host/transfer/RemoteLocation.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>

#include "host/text/Utf8.h"
#include "host/transfer/RemoteListing.h"

namespace host {

namespace {

// The most bytes of a folder listing kept in memory.
constexpr size_t kListingBound = 16 * 1024 * 1024;

constexpr const char* kPropfind =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
    "<D:propfind xmlns:D=\"DAV:\"><D:prop><D:resourcetype/><D:getcontentlength/><D:getlastmodified/>"
    "</D:prop></D:propfind>";

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    return text.size() > prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
           });
}

// Every byte but the unreserved ones and "/" as %XX.
std::string Escape(std::string_view path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~' || c == '/') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

// "a/b/c" is "a/b" and "c"; "c" is "" and "c".
std::pair<std::string, std::string> SplitFolder(const std::string& relative) {
    const auto slash = relative.rfind('/');
    if (slash == std::string::npos) return {"", relative};
    return {relative.substr(0, slash), relative.substr(slash + 1)};
}

std::string Join(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

TransferError Invalid(const std::wstring& text) { return {E_INVALIDARG, 0, 0, text}; }

TransferError Failed(const std::string& what, TransferError error) {
    if (error.status == S_OK) error.status = E_FAIL;
    error.text = error.text.empty() ? FromUtf8(what) : FromUtf8(what + ": ") + error.text;
    return error;
}

TransferError HttpRefused(const std::string& what, const CurlReply& reply) {
    std::string text = what + ": HTTP " + std::to_string(reply.status);
    if (!reply.reason.empty()) text += " " + reply.reason;
    return {E_FAIL, 0, static_cast<int32_t>(reply.status), FromUtf8(text)};
}

// The transfer's own failure, or an http answer not among `accepted`.
TransferError Judge(const std::string& what, const CurlReply& reply, bool http, std::initializer_list<long> accepted) {
    if (reply.error.status != S_OK) return Failed(what, reply.error);
    if (http && std::find(accepted.begin(), accepted.end(), reply.status) == accepted.end())
        return HttpRefused(what, reply);
    return {};
}

bool Ok(const TransferError& error) { return error.status == S_OK; }

} // namespace

bool ReadRelativeName(const std::wstring& name, bool folder, std::string& utf8) {
    if (name.empty()) {
        utf8.clear();
        return folder;
    }
    if (name.front() == L'/' || name.back() == L'/') return false;
    for (wchar_t c : name)
        if (c < 0x20 || c == 0x7f || c == L'\\') return false;
    size_t start = 0;
    while (start <= name.size()) {
        const auto slash = std::min(name.find(L'/', start), name.size());
        const std::wstring_view part(name.data() + start, slash - start);
        if (part.empty() || part == L"." || part == L"..") return false;
        start = slash + 1;
    }
    utf8 = ToUtf8(name);
    return true;
}

RemoteLocation::RemoteLocation(const std::wstring& location, TransferLimits limits,
                               CurlTransfer::ProgressSink progress, CurlConnections* connections)
    : m_base(ToUtf8(location)), m_limits(limits), m_progress(std::move(progress)), m_connections(connections) {
    if (StartsWithNoCase(m_base, "http://") || StartsWithNoCase(m_base, "https://")) m_protocol = Protocol::Dav;
    else if (StartsWithNoCase(m_base, "ftp://") || StartsWithNoCase(m_base, "ftps://")) m_protocol = Protocol::Ftp;
    else if (StartsWithNoCase(m_base, "sftp://")) m_protocol = Protocol::Sftp;
    while (!m_base.empty() && m_base.back() == '/') m_base.pop_back();
    const auto authority = m_base.find("://");
    // People write locations as they see them ("ftp://host/My Files"): the
    // characters a URL cannot hold are escaped; escapes already written stay.
    if (authority != std::string::npos) {
        std::string written;
        written.swap(m_base);
        for (size_t i = 0; i < written.size(); ++i) {
            const auto c = static_cast<unsigned char>(written[i]);
            if (i > authority + 2 && (c <= 0x20 || c >= 0x7F || c == '"' || c == '<' || c == '>')) {
                static constexpr char kHex[] = "0123456789ABCDEF";
                m_base += '%';
                m_base += kHex[c >> 4];
                m_base += kHex[c & 15];
            } else {
                m_base += written[i];
            }
        }
    }
    const auto path = authority == std::string::npos ? std::string::npos : m_base.find('/', authority + 3);
    if (path != std::string::npos) m_basePath = m_base.substr(path, m_base.find_first_of("?#", path) - path);
}

std::string RemoteLocation::Url(const std::string& relative) const { return m_base + "/" + Escape(relative); }

std::string RemoteLocation::FolderUrl(const std::string& folder) const {
    return folder.empty() ? m_base + "/" : m_base + "/" + Escape(folder) + "/";
}

std::string RemoteLocation::SftpPath(const std::string& relative) const {
    const std::string path = PercentDecode(m_basePath) + "/" + relative;
    std::string quoted = "\"";
    for (char c : path) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

CurlReply RemoteLocation::Run(const std::string& url, const CurlRequest& request, const std::atomic<bool>* stop,
                              bool withProgress) const {
    CurlTransfer transfer(url, m_limits, stop, withProgress ? m_progress : CurlTransfer::ProgressSink{},
                          m_connections);
    return transfer.Perform(request);
}

FetchResult RemoteLocation::FetchFile(const std::wstring& name, int fd, const std::atomic<bool>* stop) {
    std::string relative;
    FetchResult result;
    if (m_protocol == Protocol::None || !ReadRelativeName(name, false, relative)) {
        result.error = Invalid(L"not a name under the location");
        return result;
    }
    if (::ftruncate(fd, 0) != 0) {
        result.error = {E_FAIL, errno, 0, FromUtf8(std::strerror(errno))};
        return result;
    }
    CurlTransfer transfer(Url(relative), m_limits, stop, m_progress, m_connections);
    return transfer.Fetch(fd, 0, {});
}

TransferError RemoteLocation::MakeDavFolders(const std::string& folder, const std::atomic<bool>* stop) {
    // The folder whole first (usually there: 405); when its parent is
    // missing (409), the levels above it first, up to the server's root,
    // the location's own folders included.
    const std::string origin = m_base.substr(0, m_base.size() - m_basePath.size());
    std::string path = m_basePath + "/" + Escape(folder);
    while (!path.empty() && path.back() == '/') path.pop_back();
    if (path.empty()) return {}; // the server's root
    std::vector<std::string> missing;
    for (;;) {
        const CurlReply reply = Run(origin + path + "/", {.method = "MKCOL"}, stop);
        if (reply.error.status == S_OK && reply.status == 409 && path.rfind('/') > 0) {
            missing.push_back(path);
            path.resize(path.rfind('/'));
            continue;
        }
        if (TransferError error = Judge("could not make the folder " + PercentDecode(path), reply, true, {200, 201, 204, 405});
            !Ok(error))
            return error;
        if (missing.empty()) return {};
        path = std::move(missing.back());
        missing.pop_back();
    }
}

int64_t RemoteLocation::SizeOf(const std::string& relative, TransferError& error, const std::atomic<bool>* stop) {
    const std::string what = "could not read the size of " + relative;
    CurlReply reply = Run(Url(relative), {.sizeOnly = true}, stop);
    error = Judge(what, reply, m_protocol == Protocol::Dav, {200, 204});
    if (!Ok(error)) return -1;
    if (reply.length >= 0) return reply.length;
    if (m_protocol == Protocol::Dav) {
        reply = Run(Url(relative), {.method = "PROPFIND", .headers = {"Depth: 0", "Content-Type: application/xml"},
                                    .body = kPropfind, .keep = kListingBound},
                    stop);
        error = Judge(what, reply, true, {207});
        if (!Ok(error)) return -1;
        std::vector<LocationEntry> entries;
        const auto [folder, file] = SplitFolder(relative);
        ReadDavListing(reply.body, PercentDecode(m_basePath) + "/" + folder, entries);
        for (const LocationEntry& entry : entries)
            if (ToUtf8(entry.name) == file && entry.size >= 0) return entry.size;
    }
    error = Failed(what, {E_FAIL, 0, 0, L"the server does not tell it"});
    return -1;
}

TransferError RemoteLocation::MoveOver(const std::string& from, const std::string& to, const std::atomic<bool>* stop) {
    const std::string what = "could not rename " + from + " to " + to;
    switch (m_protocol) {
    case Protocol::Dav: {
        const CurlReply reply = Run(Url(from),
                                    {.method = "MOVE",
                                     .headers = {"Destination: " + m_basePath + "/" + Escape(to), "Overwrite: T"}},
                                    stop);
        return Judge(what, reply, true, {200, 201, 204});
    }
    case Protocol::Ftp:
        // Both names relative to the location, the folder the connection
        // is in when the commands run.
        return Judge(what, Run(FolderUrl(""), {.quote = {"RNFR " + from, "RNTO " + to}}, stop), false, {});
    case Protocol::Sftp:
        return Judge(what,
                     Run(FolderUrl(""), {.quote = {"*rm " + SftpPath(to), "rename " + SftpPath(from) + " " + SftpPath(to)}},
                         stop),
                     false, {});
    case Protocol::None: break;
    }
    return Invalid(L"not a remote location");
}

TransferError RemoteLocation::Remove(const std::string& relative, const std::atomic<bool>* stop) {
    const std::string what = "could not remove " + relative;
    if (m_protocol == Protocol::Dav)
        return Judge(what, Run(Url(relative), {.method = "DELETE"}, stop), true, {200, 202, 204, 404});
    const CurlRequest request{.quote = {m_protocol == Protocol::Ftp ? "DELE " + relative : "rm " + SftpPath(relative)}};
    const CurlReply reply = Run(FolderUrl(""), request, stop);
    if (reply.error.status == S_OK || reply.error.status == E_ABORT) return Judge(what, reply, false, {});
    // The command fails as well for a file that is not there, which counts
    // as removed: the folder tells which.
    std::vector<LocationEntry> entries;
    const auto [folder, file] = SplitFolder(relative);
    if (Ok(ListRaw(folder, entries, stop)) &&
        std::none_of(entries.begin(), entries.end(), [&](const LocationEntry& e) { return ToUtf8(e.name) == file; }))
        return {};
    return Failed(what, reply.error);
}

TransferError RemoteLocation::PutFile(const std::wstring& name, const ILocationScheme::ContentReader& read,
                                      int64_t size, const std::atomic<bool>* stop) {
    std::string target;
    if (m_protocol == Protocol::None || !ReadRelativeName(name, false, target) || !read || size < 0)
        return Invalid(L"not a name under the location");
    const auto [folder, file] = SplitFolder(target);
    const std::string work = Join(folder, UploadWorkName(file));
    const bool dav = m_protocol == Protocol::Dav;
    if (dav) {
        if (TransferError error = MakeDavFolders(folder, stop); !Ok(error)) return error;
    }

    const CurlReply sent =
        Run(Url(work), {.read = read, .uploadSize = size, .createFolders = !dav}, stop, true);
    TransferError error = Judge("could not send " + target, sent, dav, {200, 201, 204});
    if (Ok(error)) {
        // The bytes the server holds, before they take the target's name.
        const int64_t held = SizeOf(work, error, stop);
        if (Ok(error) && held != size)
            error = Failed("could not send " + target, {E_FAIL, 0, 0,
                                                       FromUtf8("the server holds " + std::to_string(held) + " of the " +
                                                                std::to_string(size) + " bytes sent")});
    }
    if (Ok(error)) error = MoveOver(work, target, stop);
    if (!Ok(error)) {
        // Whatever arrived goes, even after a stop: no stop flag here.
        Remove(work, nullptr);
        return error;
    }
    const int64_t arrived = SizeOf(target, error, stop);
    if (Ok(error) && arrived != size)
        error = Failed(target, {E_FAIL, 0, 0, FromUtf8("after the rename the server holds " + std::to_string(arrived) +
                                                       " bytes instead of " + std::to_string(size))});
    return error;
}

TransferError RemoteLocation::Rename(const std::wstring& from, const std::wstring& to, const std::atomic<bool>* stop) {
    std::string source, target;
    if (m_protocol == Protocol::None || !ReadRelativeName(from, false, source) || !ReadRelativeName(to, false, target))
        return Invalid(L"not a name under the location");
    return MoveOver(source, target, stop);
}

TransferError RemoteLocation::RemoveFile(const std::wstring& name, const std::atomic<bool>* stop) {
    std::string relative;
    if (m_protocol == Protocol::None || !ReadRelativeName(name, false, relative))
        return Invalid(L"not a name under the location");
    return Remove(relative, stop);
}

TransferError RemoteLocation::List(const std::wstring& folder, std::vector<LocationEntry>& entries,
                                   const std::atomic<bool>* stop) {
    std::string relative;
    entries.clear();
    if (m_protocol == Protocol::None || !ReadRelativeName(folder, true, relative))
        return Invalid(L"not a folder under the location");
    TransferError error = ListRaw(relative, entries, stop);
    std::erase_if(entries, [](const LocationEntry& e) { return IsUploadWorkName(ToUtf8(e.name)); });
    return error;
}

TransferError RemoteLocation::ListRaw(const std::string& folder, std::vector<LocationEntry>& entries,
                                      const std::atomic<bool>* stop) {
    const std::string what = "could not list " + (folder.empty() ? std::string("the location") : folder);
    entries.clear();
    switch (m_protocol) {
    case Protocol::Dav: {
        const CurlReply reply =
            Run(FolderUrl(folder), {.method = "PROPFIND", .headers = {"Depth: 1", "Content-Type: application/xml"},
                                    .body = kPropfind, .keep = kListingBound},
                stop);
        if (reply.error.status == S_OK && reply.missing) return {};
        if (TransferError error = Judge(what, reply, true, {207}); !Ok(error)) return error;
        const std::string path = PercentDecode(m_basePath) + "/" + folder;
        if (!ReadDavListing(reply.body, path, entries))
            return Failed(what, {E_FAIL, 0, 207, L"the answer is not a WebDAV listing"});
        return {};
    }
    case Protocol::Ftp: {
        // MLSD states types and sizes plainly; servers without it answer LIST.
        CurlReply reply = Run(FolderUrl(folder), {.method = "MLSD", .keep = kListingBound}, stop);
        if (reply.missing) return {};
        if (reply.error.status == S_OK) {
            entries = ReadMlsdListing(reply.body);
            return {};
        }
        if (reply.error.status == E_ABORT) return Failed(what, reply.error);
        reply = Run(FolderUrl(folder), {.keep = kListingBound}, stop);
        if (reply.missing) return {};
        if (reply.error.status != S_OK) return Failed(what, reply.error);
        entries = ReadLongListing(reply.body);
        return {};
    }
    case Protocol::Sftp: {
        const CurlReply reply = Run(FolderUrl(folder), {.keep = kListingBound}, stop);
        if (reply.missing) return {};
        if (reply.error.status != S_OK) return Failed(what, reply.error);
        entries = ReadLongListing(reply.body);
        return {};
    }
    case Protocol::None: break;
    }
    return Invalid(L"not a remote location");
}

} // namespace host
