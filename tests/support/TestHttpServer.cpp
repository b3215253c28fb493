#include "support/TestHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <stdexcept>

#include "sdk/ScopedHandles.h"

namespace testsupport {

namespace {

constexpr int kSliceMs = 10;
constexpr TestHttpServer::Ms kUntilStopped{-1};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string Reason(int status) {
    switch (status) {
    case 200: return "OK";
    case 206: return "Partial Content";
    case 302: return "Found";
    case 404: return "Not Found";
    default: return "Status";
    }
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
    const std::string line = head.substr(0, at); // "GET <path> HTTP/1.1"
    const size_t pathAt = line.find(' ') + 1;
    const std::string path = line.substr(pathAt, line.rfind(' ') - pathAt);
    for (size_t next; (next = head.find("\r\n", at + 2)) != std::string::npos && next > at + 2; at = next) {
        const std::string field = head.substr(at + 2, next - at - 2);
        const auto colon = field.find(':');
        if (colon == std::string::npos) continue;
        const auto value = field.find_first_not_of(' ', colon + 1);
        request.headers[Lower(field.substr(0, colon))] = value == std::string::npos ? "" : field.substr(value);
    }
    Resource resource{.body = "no such page", .status = 404};
    {
        std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
        if (const auto found = m_resources.find(path); found != m_resources.end()) resource = found->second;
    }

    // The answer: the whole body, or the part from the first byte asked for.
    int status = resource.status;
    std::string extra, body = resource.body;
    const std::string range = request.Header("Range"), ifRange = request.Header("If-Range");
    const bool sameVersion = ifRange.empty() || ifRange == resource.etag || ifRange == resource.lastModified;
    size_t first = SIZE_MAX;
    if (status == 200 && resource.ranges && sameVersion && range.starts_with("bytes=") && range.ends_with("-"))
        std::from_chars(range.data() + 6, range.data() + range.size() - 1, first);
    if (first < body.size()) {
        status = 206;
        extra = "Content-Range: bytes " + std::to_string(first) + "-" + std::to_string(body.size() - 1) + "/" +
                std::to_string(body.size()) + "\r\n";
        body.erase(0, first);
    }
    if (!resource.etag.empty()) extra += "ETag: " + resource.etag + "\r\n";
    if (!resource.lastModified.empty()) extra += "Last-Modified: " + resource.lastModified + "\r\n";
    if (!resource.location.empty()) extra += "Location: " + resource.location + "\r\n";
    if (resource.ranges) extra += "Accept-Ranges: bytes\r\n";
    const std::string header = "HTTP/1.1 " + std::to_string(status) + " " +
                               (resource.reason.empty() ? Reason(status) : resource.reason) +
                               "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + extra +
                               "Connection: close\r\n\r\n";
    if (resource.silent) return (void)Wait(kUntilStopped);
    if (!Send(fd, header.data(), header.size())) return;

    for (size_t sent = 0; sent < body.size();) {
        if (sent >= resource.closeAfter) return;
        if (sent >= resource.stallAfter) return (void)Wait(kUntilStopped);
        size_t piece = std::min({body.size(), resource.stallAfter, resource.closeAfter}) - sent;
        if (resource.dripBytes) piece = std::min(piece, resource.dripBytes);
        if (!Send(fd, body.data() + sent, piece)) return;
        sent += piece;
        if (resource.dripBytes && sent < body.size() && !Wait(resource.dripEvery)) return;
    }
}

} // namespace testsupport
