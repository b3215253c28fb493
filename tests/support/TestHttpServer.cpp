#include "support/TestHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <stdexcept>

#include "sdk/ScopedHandles.h"

namespace testsupport {

namespace {

constexpr int kSliceMs = 10;

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string Reason(int status) {
    switch (status) {
    case 200: return "OK";
    case 206: return "Partial Content";
    case 301: return "Moved Permanently";
    case 302: return "Found";
    case 404: return "Not Found";
    case 416: return "Range Not Satisfiable";
    case 500: return "Internal Server Error";
    default: return "Status";
    }
}

// "bytes=N-" or "bytes=N-M" of a body of `size` bytes: [first, last], or
// false when the header is not a single range of that form.
bool ParseRange(const std::string& header, size_t size, size_t& first, size_t& last) {
    if (header.rfind("bytes=", 0) != 0) return false;
    const std::string range = header.substr(6);
    const auto dash = range.find('-');
    if (dash == std::string::npos || dash == 0 || range.find(',') != std::string::npos) return false;
    first = std::stoull(range.substr(0, dash));
    last = dash + 1 < range.size() ? std::stoull(range.substr(dash + 1)) : SIZE_MAX;
    last = std::min(last, size ? size - 1 : 0);
    return true;
}

} // namespace

std::string TestHttpServer::Request::Header(std::string name) const {
    const auto found = headers.find(Lower(std::move(name)));
    return found == headers.end() ? std::string() : found->second;
}

TestHttpServer::TestHttpServer() {
    m_listen = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (m_listen < 0 || ::bind(m_listen, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listen, 16) != 0 || ::getsockname(m_listen, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::runtime_error("the test server cannot listen on 127.0.0.1");
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { AcceptLoop(); });
}

TestHttpServer::~TestHttpServer() {
    m_stopping = true;
    m_acceptor.join();
    // No new connection thread starts once the acceptor has ended.
    for (std::thread& connection : m_connections) connection.join();
    ::close(m_listen);
}

void TestHttpServer::Serve(const std::string& path, Resource resource) {
    std::lock_guard lock(m_mutex);
    m_resources[path] = std::move(resource);
}

std::string TestHttpServer::Url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(m_port) + path;
}

std::vector<TestHttpServer::Request> TestHttpServer::Requests() const {
    std::lock_guard lock(m_mutex);
    return m_requests;
}

void TestHttpServer::AcceptLoop() {
    while (!m_stopping) {
        pollfd waiting{m_listen, POLLIN, 0};
        if (::poll(&waiting, 1, kSliceMs) <= 0) continue;
        const int fd = ::accept4(m_listen, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        std::lock_guard lock(m_mutex);
        m_connections.emplace_back([this, fd] {
            ScopedFD connection(fd);
            Answer(fd);
        });
    }
}

bool TestHttpServer::Wait(Ms time) const {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!m_stopping && (time == kUntilStopped || std::chrono::steady_clock::now() < end))
        std::this_thread::sleep_for(Ms(kSliceMs));
    return !m_stopping;
}

bool TestHttpServer::Send(int fd, const char* data, size_t size) const {
    while (size > 0 && !m_stopping) {
        const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            data += n;
            size -= static_cast<size_t>(n);
        } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd writable{fd, POLLOUT, 0};
            ::poll(&writable, 1, kSliceMs);
        } else {
            return false;
        }
    }
    return size == 0;
}

void TestHttpServer::Answer(int fd) {
    // The request: its line and headers; a body is not read.
    std::string head;
    char buffer[4096];
    while (head.find("\r\n\r\n") == std::string::npos && head.size() < 65536) {
        if (m_stopping) return;
        pollfd readable{fd, POLLIN, 0};
        if (::poll(&readable, 1, kSliceMs) <= 0) continue;
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0) return;
        head.append(buffer, static_cast<size_t>(n));
    }
    Request request;
    size_t at = head.find("\r\n");
    const std::string line = head.substr(0, at);
    request.method = line.substr(0, line.find(' '));
    request.path = line.substr(request.method.size() + 1, line.rfind(' ') - request.method.size() - 1);
    for (size_t next; (next = head.find("\r\n", at + 2)) != std::string::npos && next > at + 2; at = next) {
        const std::string field = head.substr(at + 2, next - at - 2);
        const auto colon = field.find(':');
        if (colon == std::string::npos) continue;
        const auto value = field.find_first_not_of(' ', colon + 1);
        request.headers[Lower(field.substr(0, colon))] = value == std::string::npos ? "" : field.substr(value);
    }
    Resource resource;
    {
        std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        const auto found = m_resources.find(request.path);
        if (found != m_resources.end()) resource = found->second;
        else resource.status = 404, resource.body = "no such page";
    }

    // The answer: the whole body, or the range asked for.
    int status = resource.status;
    std::string extra, body = resource.body;
    const std::string range = request.Header("Range"), ifRange = request.Header("If-Range");
    const bool sameVersion = ifRange.empty() || (!resource.etag.empty() && ifRange == resource.etag) ||
                             (!resource.lastModified.empty() && ifRange == resource.lastModified);
    size_t first = 0, last = 0;
    if (status == 200 && resource.ranges && sameVersion && ParseRange(range, body.size(), first, last)) {
        if (first >= body.size()) {
            status = 416;
            extra = "Content-Range: bytes */" + std::to_string(body.size()) + "\r\n";
            body.clear();
        } else {
            status = 206;
            extra = "Content-Range: bytes " + std::to_string(first) + "-" + std::to_string(last) + "/" +
                    std::to_string(body.size()) + "\r\n";
            body = body.substr(first, last - first + 1);
        }
    }
    if (!resource.etag.empty()) extra += "ETag: " + resource.etag + "\r\n";
    if (!resource.lastModified.empty()) extra += "Last-Modified: " + resource.lastModified + "\r\n";
    if (!resource.location.empty()) extra += "Location: " + resource.location + "\r\n";
    if (resource.ranges) extra += "Accept-Ranges: bytes\r\n";
    const std::string header = "HTTP/1.1 " + std::to_string(status) + " " +
                               (resource.reason.empty() ? Reason(status) : resource.reason) +
                               "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + extra +
                               "Connection: close\r\n\r\n";
    if (resource.silentFor != Ms(0) && !Wait(resource.silentFor)) return;
    if (!Send(fd, header.data(), header.size())) return;

    size_t sent = 0;
    bool stalled = false;
    while (sent < body.size()) {
        if (sent >= resource.closeAfter) return;
        if (sent >= resource.stallAfter && !stalled) {
            stalled = true;
            if (!Wait(resource.stallFor)) return;
        }
        size_t piece = body.size() - sent;
        if (resource.dripBytes) piece = std::min(piece, resource.dripBytes);
        if (sent < resource.stallAfter) piece = std::min(piece, resource.stallAfter - sent);
        piece = std::min(piece, resource.closeAfter - sent);
        if (!Send(fd, body.data() + sent, piece)) return;
        sent += piece;
        if (resource.dripBytes && sent < body.size() && !Wait(resource.dripEvery)) return;
    }
}

} // namespace testsupport
