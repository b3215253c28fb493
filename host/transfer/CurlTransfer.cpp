// The only file of the project that includes curl.h. The pieces below the
// public class are shared by every kind of transfer: the easy handle and its
// common options, the watchdog of the time-outs and the stop flag, the
// headers of the current answer, and the error texts. A fetch adds its
// writing side (Begin, OnWrite) on top of them; any other request its
// options (PrepareRequest), its reading side (OnRead) and a bounded answer.
#include "host/transfer/CurlTransfer.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

#include "host/text/Utf8.h"
#include "host/transfer/FieldText.h"
#include "host/transfer/SshSettings.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

// libcurl's receive buffer: large enough that a fast transfer takes few
// calls, small enough to leave memory alone.
constexpr long kReceiveBuffer = 256 * 1024;
// How many received bytes are handed to the disk at a time.
constexpr int64_t kWriteBehind = 16 * 1024 * 1024;

void InitCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

struct EasyCleanup {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using EasyHandle = std::unique_ptr<CURL, EasyCleanup>;

struct ListFree {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, ListFree>;

struct UrlFree {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

// One part of a URL (the host, the scheme), empty when it has none; never
// the user or the password.
std::string UrlPart(const std::string& url, CURLUPart part) {
    std::unique_ptr<CURLU, UrlFree> parsed(curl_url());
    char* text = nullptr;
    if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK ||
        curl_url_get(parsed.get(), part, &text, 0) != CURLUE_OK)
        return {};
    std::string value(text);
    curl_free(text);
    return value;
}

std::string Scheme(const std::string& url) {
    std::string scheme = UrlPart(url, CURLUPART_SCHEME);
    std::transform(scheme.begin(), scheme.end(), scheme.begin(), [](unsigned char c) { return std::tolower(c); });
    return scheme;
}

bool IsHttp(const std::string& url) {
    const std::string scheme = Scheme(url);
    return scheme == "http" || scheme == "https";
}

bool NameIs(std::string_view name, std::string_view wanted) {
    return name.size() == wanted.size() && std::equal(name.begin(), name.end(), wanted.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
           });
}

// The headers of the answer being received. Every status line starts a new
// answer: a redirect's headers are followed by the next answer's.
struct Answer {
    bool seen = false;    // a status line arrived
    long status = 0;      // from the status line (http only)
    std::string reason;   // its reason phrase, when it has one
    std::string etag;
    std::string lastModified;
    std::string location;
    int64_t contentLength = -1;
    int64_t rangeStart = -1; // Content-Range: bytes <start>-<end>/<total>
    int64_t rangeTotal = -1; // -1 when "*" or absent

    // The validator of this answer: the ETag, else the Last-Modified date.
    const std::string& Validator() const { return etag.empty() ? lastModified : etag; }

    void Read(std::string_view line) {
        line = TrimField(line);
        if (line.starts_with("HTTP/")) {
            *this = Answer{};
            seen = true;
            const auto code = line.find(' ');
            if (code == std::string_view::npos) return;
            std::string_view rest = line.substr(code + 1);
            status = static_cast<long>(std::max<int64_t>(0, FieldCount(rest.substr(0, 3))));
            if (rest.size() > 3) reason = std::string(TrimField(rest.substr(3)));
            return;
        }
        const auto colon = line.find(':');
        if (colon == std::string_view::npos) return;
        const std::string_view name = TrimField(line.substr(0, colon)), value = TrimField(line.substr(colon + 1));
        if (NameIs(name, "ETag")) etag = value;
        else if (NameIs(name, "Last-Modified")) lastModified = value;
        else if (NameIs(name, "Location")) location = value;
        else if (NameIs(name, "Content-Length")) contentLength = FieldCount(value);
        else if (NameIs(name, "Content-Range") && value.starts_with("bytes ")) {
            const std::string_view range = value.substr(6);
            const auto dash = range.find('-'), slash = range.find('/');
            if (dash == std::string_view::npos || slash == std::string_view::npos) return;
            rangeStart = FieldCount(range.substr(0, dash));
            rangeTotal = FieldCount(range.substr(slash + 1));
        }
    }
};

// Why the host side ended a transfer (a callback refused to go on).
enum class Ended {
    No, Stopped, NoAnswer, NoData, AnswerCode, RangeMoved, WriteFailed,
    ReadFailed, ContentShort, ContentLong, TooLarge
};

// The time-outs and the stop flag. The clock runs from the start and from
// every byte heard since: until the first byte of an answer the wait may
// last `firstByte`, after it `pause`.
class Watchdog final {
public:
    Watchdog(TransferLimits limits, const std::atomic<bool>* stop) : m_limits(limits), m_stop(stop) {}

    void Heard() {
        m_last = Clock::now();
        m_answered = true;
    }
    bool Stopped() const { return m_stop && m_stop->load(std::memory_order_relaxed); }
    Ended Check() const {
        if (Stopped()) return Ended::Stopped;
        const auto silent = Clock::now() - m_last;
        if (!m_answered && silent > m_limits.firstByte) return Ended::NoAnswer;
        if (m_answered && silent > m_limits.pause) return Ended::NoData;
        return Ended::No;
    }

private:
    TransferLimits m_limits;
    const std::atomic<bool>* m_stop;
    Clock::time_point m_last = Clock::now();
    bool m_answered = false;
};

std::string Ms(std::chrono::milliseconds limit) { return std::to_string(limit.count()) + " ms"; }

std::string Bytes(int64_t received, int64_t total) {
    return total >= 0 ? std::to_string(received) + " of " + std::to_string(total) + " bytes"
                      : std::to_string(received) + " bytes";
}

} // namespace

// One share handle of a pool, with a lock for each kind of data the library
// shares through it (connections, name lookups, TLS sessions).
class SharedConnections final {
public:
    SharedConnections() {
        CURLSH* share = curl_share_init();
        if (!share) return;
        if (curl_share_setopt(share, CURLSHOPT_LOCKFUNC, &SharedConnections::Lock) == CURLSHE_OK &&
            curl_share_setopt(share, CURLSHOPT_UNLOCKFUNC, &SharedConnections::Unlock) == CURLSHE_OK &&
            curl_share_setopt(share, CURLSHOPT_USERDATA, this) == CURLSHE_OK &&
            curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT) == CURLSHE_OK &&
            curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS) == CURLSHE_OK &&
            curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION) == CURLSHE_OK)
            m_share = share;
        else
            curl_share_cleanup(share);
    }
    // Every transfer has ended by now (they run inside calls that the pool's
    // owner outlives), so the handle is free and closes its idle connections.
    ~SharedConnections() {
        if (m_share) curl_share_cleanup(m_share);
    }
    SharedConnections(const SharedConnections&) = delete;
    SharedConnections& operator=(const SharedConnections&) = delete;

    CURLSH* Handle() const { return m_share; } // null when the library refused one

private:
    static void Lock(CURL*, curl_lock_data data, curl_lock_access, void* self) {
        static_cast<SharedConnections*>(self)->m_locks[data].lock();
    }
    static void Unlock(CURL*, curl_lock_data data, void* self) {
        static_cast<SharedConnections*>(self)->m_locks[data].unlock();
    }

    CURLSH* m_share = nullptr;
    std::mutex m_locks[CURL_LOCK_DATA_LAST];
};

// The library reuses a connection for the same server and login, but not
// always for the same way of trusting the server: an sftp connection made
// under one known-hosts file must not serve a transfer told to check
// another. So a pool keeps one share handle per way of checking, and a
// transfer takes connections only from the one that matches its own.
struct CurlConnections::Shared {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<SharedConnections>> byTrust;

    CURLSH* For(const std::string& trust) {
        std::lock_guard lock(mutex);
        std::unique_ptr<SharedConnections>& shared = byTrust[trust];
        if (!shared) shared = std::make_unique<SharedConnections>();
        return shared->Handle();
    }
};

CurlConnections::CurlConnections() : m_shared(std::make_unique<Shared>()) { InitCurlOnce(); }

CurlConnections::~CurlConnections() = default;

// The easy handle of one transfer and what its callbacks share. Callbacks
// run on the thread inside curl_easy_perform, the object's only user.
class CurlTransfer::Session final {
public:
    explicit Session(const CurlTransfer& owner) : m_owner(owner), m_watch(owner.m_limits, owner.m_stop) {}

    // The options every transfer has; false when libcurl refuses one.
    bool Open() {
        InitCurlOnce();
        m_easy.reset(curl_easy_init());
        if (!m_easy) return false;
        CURL* e = m_easy.get();
        const auto connect = std::max<long>(1, static_cast<long>(m_owner.m_limits.firstByte.count()));
        return curl_easy_setopt(e, CURLOPT_URL, m_owner.m_url.c_str()) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https,ftp,ftps,sftp") == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https") == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 1L) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_MAXREDIRS, 10L) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_OPTIONAL)) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, connect) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_BUFFERSIZE, kReceiveBuffer) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, &Session::OnHeader) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_HEADERDATA, this) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_NOPROGRESS, 0L) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_XFERINFOFUNCTION, &Session::OnProgress) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_XFERINFODATA, this) == CURLE_OK && SshOptions() && ShareOptions();
    }

    // A pooled transfer reuses a connection idle for at most a minute (an
    // older one may have been dropped by the server meanwhile), made under
    // the same ssh settings as its own. A pool the library refuses leaves
    // the transfer to connect on its own.
    bool ShareOptions() {
        CurlConnections* pool = m_owner.m_connections;
        if (!pool) return true;
        const std::string trust =
            m_ssh.knownHosts.empty() ? std::string() : m_ssh.privateKey + '\n' + m_ssh.knownHosts;
        CURLSH* share = pool->m_shared->For(trust);
        CURL* e = m_easy.get();
        return !share || (curl_easy_setopt(e, CURLOPT_SHARE, share) == CURLE_OK &&
                          curl_easy_setopt(e, CURLOPT_MAXAGE_CONN, 60L) == CURLE_OK);
    }

    // sftp logs in with the configured key and trusts only a server whose
    // key the known-hosts file holds (no file: no server is trusted).
    bool SshOptions() {
        if (Scheme(m_owner.m_url) != "sftp") return true;
        m_ssh = ReadSshSettings();
        if (m_ssh.knownHosts.empty()) m_ssh.knownHosts = "/dev/null";
        CURL* e = m_easy.get();
        return curl_easy_setopt(e, CURLOPT_SSH_AUTH_TYPES, CURLSSH_AUTH_PUBLICKEY | CURLSSH_AUTH_PASSWORD) ==
                   CURLE_OK &&
               (m_ssh.privateKey.empty() ||
                curl_easy_setopt(e, CURLOPT_SSH_PRIVATE_KEYFILE, m_ssh.privateKey.c_str()) == CURLE_OK) &&
               curl_easy_setopt(e, CURLOPT_SSH_KNOWNHOSTS, m_ssh.knownHosts.c_str()) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_SSH_KEYFUNCTION, &Session::OnHostKey) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_SSH_KEYDATA, this) == CURLE_OK;
    }

    // The fetch's own options: where the bytes go and which part to ask for.
    bool PrepareFetch(int fd, int64_t offset, const std::string& validator,
                      const std::function<void(const std::string&)>& versionKnown) {
        m_fd = fd;
        m_kept = offset;
        m_requestValidator = validator;
        m_versionKnown = &versionKnown;
        m_http = IsHttp(m_owner.m_url);
        CURL* e = m_easy.get();
        if (curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, &Session::OnWrite) != CURLE_OK ||
            curl_easy_setopt(e, CURLOPT_WRITEDATA, this) != CURLE_OK)
            return false;
        // Only http(s) can prove the bytes already there belong to the same
        // version; anything else starts over.
        if (!m_http || offset <= 0 || validator.empty()) return true;
        m_offset = offset;
        m_headers.reset(curl_slist_append(nullptr, ("If-Range: " + validator).c_str()));
        const std::string range = std::to_string(offset) + "-";
        return m_headers && curl_easy_setopt(e, CURLOPT_RANGE, range.c_str()) == CURLE_OK &&
               curl_easy_setopt(e, CURLOPT_HTTPHEADER, m_headers.get()) == CURLE_OK;
    }

    // A request's options (CurlRequest's rules).
    bool PrepareRequest(const CurlRequest& request) {
        m_request = &request;
        m_http = IsHttp(m_owner.m_url);
        CURL* e = m_easy.get();
        bool ok = curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, &Session::OnWrite) == CURLE_OK &&
                  curl_easy_setopt(e, CURLOPT_WRITEDATA, this) == CURLE_OK;
        if (!request.method.empty()) ok = ok && curl_easy_setopt(e, CURLOPT_CUSTOMREQUEST, request.method.c_str()) == CURLE_OK;
        if (m_http) {
            for (const std::string& header : request.headers) {
                // The list keeps its head; the first append makes it.
                curl_slist* list = curl_slist_append(m_headers.get(), header.c_str());
                if (!list) return false;
                if (!m_headers) m_headers.reset(list);
            }
            if (m_headers) ok = ok && curl_easy_setopt(e, CURLOPT_HTTPHEADER, m_headers.get()) == CURLE_OK;
            if (!request.body.empty())
                ok = ok && curl_easy_setopt(e, CURLOPT_POSTFIELDS, request.body.c_str()) == CURLE_OK &&
                     curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size())) ==
                         CURLE_OK;
        } else if (!request.quote.empty()) {
            for (const std::string& command : request.quote) {
                // The list keeps its head; the first append makes it.
                curl_slist* list = curl_slist_append(m_quote.get(), command.c_str());
                if (!list) return false;
                if (!m_quote) m_quote.reset(list);
            }
            ok = ok && curl_easy_setopt(e, CURLOPT_POSTQUOTE, m_quote.get()) == CURLE_OK;
        }
        // No body: http HEAD, ftp SIZE; sftp opens the file and reads its
        // attributes without reading a byte, so the connection stays usable.
        if (request.sizeOnly) ok = ok && curl_easy_setopt(e, CURLOPT_NOBODY, 1L) == CURLE_OK;
        if (request.read) {
            ok = ok && curl_easy_setopt(e, CURLOPT_UPLOAD, 1L) == CURLE_OK &&
                 curl_easy_setopt(e, CURLOPT_READFUNCTION, &Session::OnRead) == CURLE_OK &&
                 curl_easy_setopt(e, CURLOPT_READDATA, this) == CURLE_OK &&
                 curl_easy_setopt(e, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.uploadSize)) ==
                     CURLE_OK;
        } else if (!request.sizeOnly && request.quote.size() && !m_http) {
            // Commands alone: the folder is entered, nothing is moved.
            ok = ok && curl_easy_setopt(e, CURLOPT_NOBODY, 1L) == CURLE_OK;
        }
        if (request.createFolders)
            ok = ok && curl_easy_setopt(e, CURLOPT_FTP_CREATE_MISSING_DIRS,
                                        static_cast<long>(CURLFTP_CREATE_DIR_RETRY)) == CURLE_OK;
        return ok;
    }

    CurlReply PerformRequest() {
        CURLcode code = curl_easy_perform(m_easy.get());
        CurlReply reply;
        curl_off_t length = -1;
        curl_easy_getinfo(m_easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
        reply.length = length;
        // An sftp file of 0 bytes states no size.
        if (m_request->sizeOnly && code == CURLE_OK && reply.length < 0 && Scheme(m_owner.m_url) == "sftp")
            reply.length = 0;
        if (m_http) {
            curl_easy_getinfo(m_easy.get(), CURLINFO_RESPONSE_CODE, &reply.status);
            reply.error.httpStatus = static_cast<int32_t>(reply.status);
            reply.reason = m_answer.reason;
        }
        if (code == CURLE_OK && m_request->read && m_sent != m_request->uploadSize) {
            m_ended = Ended::ContentShort;
            code = CURLE_ABORTED_BY_CALLBACK;
        }
        curl_easy_getinfo(m_easy.get(), CURLINFO_NUM_CONNECTS, &reply.connected);
        reply.body = std::move(m_body);
        reply.missing = reply.status == 404 || code == CURLE_REMOTE_FILE_NOT_FOUND ||
                        (!m_http && code == CURLE_REMOTE_ACCESS_DENIED);
        if (code != CURLE_OK) {
            reply.error.status = m_ended == Ended::Stopped ? E_ABORT : E_FAIL;
            reply.error.code = Code(code);
            reply.error.text = FromUtf8(Text(code));
        }
        return reply;
    }

    CURLcode Perform() {
        CURLcode code = curl_easy_perform(m_easy.get());
        // An answer without a body never reached OnWrite.
        if (code == CURLE_OK && !m_begun && !Begin()) code = CURLE_WRITE_ERROR;
        return code;
    }

    FetchResult Result(CURLcode code, const std::string& requestValidator) {
        FetchResult result;
        long status = 0;
        curl_easy_getinfo(m_easy.get(), CURLINFO_RESPONSE_CODE, &status);
        result.error.httpStatus = static_cast<int32_t>(status);
        result.size = m_begun ? m_position : m_kept;
        // Bytes not touched keep the version they came from; bytes of a
        // range keep the version the range was asked for.
        result.validator = !m_begun ? requestValidator : m_answer.Validator();
        if (m_begun && m_start > 0 && result.validator.empty()) result.validator = requestValidator;
        if (m_ended == Ended::RangeMoved) result.validator.clear();

        if (code == CURLE_OK && m_total >= 0 && m_position != m_total) code = CURLE_PARTIAL_FILE;
        if (code == CURLE_OK) {
            result.complete = true;
            return result;
        }
        result.error.status = m_ended == Ended::Stopped ? E_ABORT : E_FAIL;
        result.error.code = Code(code);
        result.error.text = FromUtf8(Text(code));
        return result;
    }

private:
    // The number that goes with the text: errno for the file's errors,
    // else the CURLcode that names the reason best.
    int32_t Code(CURLcode code) const {
        switch (m_ended) {
        case Ended::WriteFailed: return m_errno;
        case Ended::AnswerCode: return CURLE_HTTP_RETURNED_ERROR;
        case Ended::NoAnswer:
        case Ended::NoData: return CURLE_OPERATION_TIMEDOUT;
        case Ended::RangeMoved: return CURLE_RANGE_ERROR;
        case Ended::ReadFailed: return m_errno;
        case Ended::ContentShort:
        case Ended::ContentLong: return CURLE_READ_ERROR;
        case Ended::TooLarge: return CURLE_FILESIZE_EXCEEDED;
        default: return static_cast<int32_t>(code);
        }
    }

    // Why the transfer failed, for people; an ftp server's refusal with its
    // own words.
    std::string Text(CURLcode code) const {
        std::string text = Reason(code);
        if (m_ended == Ended::No && !m_http && !m_lastReply.empty() && (m_lastReply[0] == '4' || m_lastReply[0] == '5'))
            text += " (the server: " + m_lastReply + ")";
        return text;
    }

    std::string Reason(CURLcode code) const {
        switch (m_ended) {
        case Ended::Stopped: return "stopped";
        case Ended::NoAnswer: return "no answer within " + Ms(m_owner.m_limits.firstByte);
        case Ended::NoData: return "no data for " + Ms(m_owner.m_limits.pause);
        case Ended::AnswerCode: {
            std::string text = "HTTP " + std::to_string(m_answer.status);
            return m_answer.reason.empty() ? text : text + " " + m_answer.reason;
        }
        case Ended::RangeMoved:
            return "the server sent a part from byte " + std::to_string(m_answer.rangeStart) + " instead of " +
                   std::to_string(m_offset);
        case Ended::WriteFailed:
            return m_errno == ENOSPC ? "no space left on device" : std::strerror(m_errno);
        case Ended::ReadFailed: return std::string("reading the content failed: ") + std::strerror(m_errno);
        case Ended::ContentShort:
            return "the content ended after " + Bytes(m_sent, m_request ? m_request->uploadSize : -1);
        case Ended::ContentLong:
            return "the content runs past its " + std::to_string(m_request ? m_request->uploadSize : 0) + " bytes";
        case Ended::TooLarge:
            return "the answer is larger than " + std::to_string(m_request ? m_request->keep : 0) + " bytes";
        case Ended::No: break;
        }
        long osError = 0;
        curl_easy_getinfo(m_easy.get(), CURLINFO_OS_ERRNO, &osError);
        switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST: return "could not resolve host " + Host();
        case CURLE_COULDNT_CONNECT:
            if (osError == ECONNREFUSED) return "connection refused";
            return "could not connect to " + Host() + (osError ? std::string(": ") + std::strerror(osError) : "");
        case CURLE_OPERATION_TIMEDOUT: return "no answer within " + Ms(m_owner.m_limits.firstByte);
        case CURLE_PARTIAL_FILE:
            return "the connection closed after " + Bytes(m_position, m_total >= 0 ? m_total : -1);
        case CURLE_UNSUPPORTED_PROTOCOL:
            if (!m_answer.location.empty() && m_answer.status / 100 == 3) {
                std::string scheme = m_answer.location.substr(0, m_answer.location.find(':'));
                return "redirect to " + scheme + ":// refused";
            }
            return "unsupported protocol " + UrlPart(m_owner.m_url, CURLUPART_SCHEME);
        case CURLE_TOO_MANY_REDIRECTS: return "too many redirects";
        case CURLE_GOT_NOTHING: return "the server closed the connection without an answer";
        case CURLE_LOGIN_DENIED: return "login denied";
        case CURLE_REMOTE_ACCESS_DENIED: return "access denied";
        case CURLE_REMOTE_FILE_NOT_FOUND: return "no such file on the server";
        case CURLE_PEER_FAILED_VERIFICATION:
            if (m_hostKeyRefused) return "the key of " + Host() + " is not in the known-hosts file " + m_ssh.knownHosts;
            return "the server's certificate or key is not trusted";
        case CURLE_URL_MALFORMAT: return "malformed URL";
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
            return "the connection failed" + (osError ? std::string(": ") + std::strerror(osError) : "");
        default: return curl_easy_strerror(code);
        }
    }

    // The host the transfer last went to (after redirects), without user
    // or password.
    std::string Host() const {
        const char* effective = nullptr;
        curl_easy_getinfo(m_easy.get(), CURLINFO_EFFECTIVE_URL, &effective);
        return UrlPart(effective ? effective : m_owner.m_url, CURLUPART_HOST);
    }

    // The first byte of the body, or the end of an answer without one:
    // decides where the bytes go. False when the answer is an error (the
    // file is left as it was) or a part other than the one asked for (the
    // file is emptied: its bytes can no longer be trusted to resume).
    bool Begin() {
        if (m_http) {
            long status = 0;
            curl_easy_getinfo(m_easy.get(), CURLINFO_RESPONSE_CODE, &status);
            m_answer.status = status;
            if (status < 200 || status > 299) return Refuse(Ended::AnswerCode);
            if (status == 206 && (m_offset == 0 || m_answer.rangeStart != m_offset)) {
                m_begun = true;
                m_position = 0;
                return Truncate(0) && Refuse(Ended::RangeMoved);
            }
            if (status == 206) {
                m_start = m_offset;
                m_total = m_answer.rangeTotal >= 0 ? m_answer.rangeTotal
                          : m_answer.contentLength >= 0 ? m_offset + m_answer.contentLength
                                                         : -1;
            } else {
                m_total = m_answer.contentLength;
            }
        } else {
            curl_off_t size = -1;
            curl_easy_getinfo(m_easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size);
            m_total = size;
        }
        m_begun = true;
        m_position = m_start;
        m_writtenBehind = m_start;
        if (!Truncate(m_start)) return false;
        if (*m_versionKnown) {
            // Appended bytes belong to the version the range was asked for.
            const std::string& version = m_answer.Validator();
            (*m_versionKnown)(m_start > 0 && version.empty() ? m_requestValidator : version);
        }
        return true;
    }

    bool Refuse(Ended why) {
        m_ended = why;
        return false;
    }

    // Cuts the file to `size` when it is longer (a device such as a pipe
    // or /dev/full is written as it is).
    bool Truncate(int64_t size) {
        struct stat st{};
        if (::fstat(m_fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size <= size) return true;
        if (::ftruncate(m_fd, size) == 0) return true;
        m_errno = errno;
        return Refuse(Ended::WriteFailed);
    }

    bool WriteAll(const char* data, size_t size) {
        while (size > 0) {
            const ssize_t n = ::pwrite(m_fd, data, size, m_position);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                m_errno = n < 0 ? errno : EIO;
                return Refuse(Ended::WriteFailed);
            }
            data += n;
            size -= static_cast<size_t>(n);
            m_position += n;
        }
        WriteBehind();
        return true;
    }

    // Starts writing the received bytes to the disk every few megabytes
    // without waiting for it, so that the flush before the work file is
    // renamed into place finds little left to do, and the bytes of a large
    // download do not pile up in memory. Where the file cannot (a pipe, a
    // device), nothing is done.
    void WriteBehind() {
        if (m_position - m_writtenBehind < kWriteBehind) return;
        ::sync_file_range(m_fd, m_writtenBehind, m_position - m_writtenBehind, SYNC_FILE_RANGE_WRITE);
        m_writtenBehind = m_position;
    }

    static int OnHostKey(CURL*, const curl_khkey*, const curl_khkey*, curl_khmatch match, void* self) {
        if (match == CURLKHMATCH_OK) return CURLKHSTAT_FINE;
        static_cast<Session*>(self)->m_hostKeyRefused = true;
        return CURLKHSTAT_REJECT;
    }

    static size_t OnHeader(char* data, size_t, size_t size, void* self) {
        auto* s = static_cast<Session*>(self);
        s->m_watch.Heard();
        const std::string_view line(data, size);
        if (s->m_http) s->m_answer.Read(line);
        // An ftp server's replies arrive here too; the last one explains a
        // refusal.
        else if (!line.empty() && line[0] >= '1' && line[0] <= '5') s->m_lastReply = TrimField(line);
        return size;
    }

    static size_t OnWrite(char* data, size_t, size_t size, void* self) {
        auto* s = static_cast<Session*>(self);
        s->m_watch.Heard();
        if (s->m_watch.Stopped()) return s->Refuse(Ended::Stopped), 0;
        if (s->m_request) return s->Keep(data, size) ? size : 0;
        if (!s->m_begun && !s->Begin()) return 0;
        return s->WriteAll(data, size) ? size : 0;
    }

    // A request's answer, within its bound.
    bool Keep(const char* data, size_t size) {
        if (m_request->keep == 0) return true;
        if (m_body.size() + size > m_request->keep) return Refuse(Ended::TooLarge);
        m_body.append(data, size);
        return true;
    }

    // The next bytes of an upload: exactly the promised size, checked at
    // both ends (a reader that gives one byte more fails too).
    static size_t OnRead(char* buffer, size_t, size_t capacity, void* self) {
        auto* s = static_cast<Session*>(self);
        if (s->m_watch.Stopped()) return s->Refuse(Ended::Stopped), CURL_READFUNC_ABORT;
        const int64_t remaining = s->m_request->uploadSize - s->m_sent;
        if (remaining == 0) return s->AtEnd() ? 0 : CURL_READFUNC_ABORT;
        const int64_t n = s->m_request->read(buffer, static_cast<size_t>(std::min<int64_t>(remaining, capacity)));
        if (n < 0) {
            s->m_errno = errno;
            return s->Refuse(Ended::ReadFailed), CURL_READFUNC_ABORT;
        }
        if (n == 0 || n > remaining) return s->Refuse(n == 0 ? Ended::ContentShort : Ended::ContentLong), CURL_READFUNC_ABORT;
        s->m_sent += n;
        if (s->m_sent == s->m_request->uploadSize && !s->AtEnd()) return CURL_READFUNC_ABORT;
        return static_cast<size_t>(n);
    }

    // True when the reader has nothing past the promised size.
    bool AtEnd() {
        if (m_endChecked) return true;
        m_endChecked = true;
        char extra = 0;
        const int64_t n = m_request->read(&extra, 1);
        if (n < 0) {
            m_errno = errno;
            return Refuse(Ended::ReadFailed);
        }
        return n == 0 || Refuse(Ended::ContentLong);
    }

    static int OnProgress(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
        auto* s = static_cast<Session*>(self);
        if (received != s->m_heard || sent != s->m_heardSent) {
            s->m_heard = received;
            s->m_heardSent = sent;
            s->m_watch.Heard();
        }
        if (const Ended why = s->m_watch.Check(); why != Ended::No) return s->Refuse(why), 1;
        if (s->m_request) {
            if (s->m_request->read && s->m_owner.m_progress) s->m_owner.m_progress(s->m_sent, s->m_request->uploadSize);
            return 0;
        }
        if (s->m_begun && s->m_owner.m_progress) s->m_owner.m_progress(s->m_position, std::max<int64_t>(0, s->m_total));
        return 0;
    }

    const CurlTransfer& m_owner;
    Watchdog m_watch;
    EasyHandle m_easy;
    HeaderList m_headers;
    Answer m_answer;
    Ended m_ended = Ended::No;
    int m_errno = 0;
    bool m_http = false;
    SshSettings m_ssh;            // sftp only; kept while libcurl holds the names
    bool m_hostKeyRefused = false; // the sftp server's key is not a known one

    int m_fd = -1;
    std::string m_requestValidator;
    const std::function<void(const std::string&)>* m_versionKnown = nullptr;
    int64_t m_kept = 0;     // bytes in the file before the fetch
    int64_t m_offset = 0;   // where the asked-for range starts (0: the whole)
    bool m_begun = false;   // the body's place is decided (the file may have changed)
    int64_t m_start = 0;    // where this answer's bytes start in the file
    int64_t m_position = 0; // where the next byte goes
    int64_t m_writtenBehind = 0; // bytes before this are on their way to the disk
    int64_t m_total = -1;   // the resource's promised length, -1 unknown
    curl_off_t m_heard = 0; // body bytes libcurl counted
    curl_off_t m_heardSent = 0; // upload bytes libcurl counted

    const CurlRequest* m_request = nullptr; // a request other than a fetch
    HeaderList m_quote;      // its commands
    std::string m_body;      // its answer, within its bound
    int64_t m_sent = 0;      // upload bytes taken from the reader
    bool m_endChecked = false; // the reader was asked for a byte past the size
    std::string m_lastReply; // the ftp server's last reply line
};

CurlTransfer::CurlTransfer(std::string url, TransferLimits limits, const std::atomic<bool>* stop,
                           ProgressSink progress, CurlConnections* connections)
    : m_url(std::move(url)), m_limits(limits), m_stop(stop), m_progress(std::move(progress)),
      m_connections(connections) {}

CurlTransfer::~CurlTransfer() = default;

FetchResult CurlTransfer::Fetch(int fd, int64_t offset, const std::string& validator,
                                const std::function<void(const std::string&)>& versionKnown) {
    Session session(*this);
    if (!session.Open() || !session.PrepareFetch(fd, offset, validator, versionKnown)) {
        FetchResult result;
        result.error.status = E_FAIL;
        result.error.code = CURLE_FAILED_INIT;
        result.error.text = L"the transfer library could not start";
        result.size = offset;
        result.validator = validator;
        return result;
    }
    return session.Result(session.Perform(), validator);
}

CurlReply CurlTransfer::Perform(const CurlRequest& request) {
    Session session(*this);
    if (!session.Open() || !session.PrepareRequest(request)) {
        CurlReply reply;
        reply.error.status = E_FAIL;
        reply.error.code = CURLE_FAILED_INIT;
        reply.error.text = L"the transfer library could not start";
        return reply;
    }
    return session.PerformRequest();
}

} // namespace host
