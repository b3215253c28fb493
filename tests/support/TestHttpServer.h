// An HTTP/1.1 server inside the test process, on 127.0.0.1 at a port the
// system picks, for tests of downloads. It answers GET from a table of paths
// the test sets up (others: 404), and misbehaves on purpose:
//
//   testsupport::TestHttpServer server;
//   server.Serve("/file", {.body = std::string(4000, 'x'), .etag = "\"v1\"", .stallAfter = 1000});
//   Fetch(server.Url("/file"));
//   EXPECT_EQ(server.Requests().at(0).Header("Range"), "bytes=1000-");
//
// Every answer closes its connection; each connection runs on a thread of
// its own. All waits are slices of a few ms that look at the stop flag, so
// destroying the server ends every connection promptly, stalled ones too,
// and joins its threads. Serve and Requests may be called from any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace testsupport {

class TestHttpServer final {
public:
    using Ms = std::chrono::milliseconds;

    struct Resource {
        std::string body{};
        int status = 200;           // another status sends `body` as its page (404, 500...)
        std::string reason{};       // the reason phrase; empty: a standard one
        std::string etag{};         // sent as ETag when not empty (give the quotes)
        std::string lastModified{}; // sent as Last-Modified when not empty
        std::string location{};     // sent as Location when not empty (give a 3xx status)
        // "Range: bytes=N-" answered with 206, unless an If-Range names
        // neither the ETag nor the Last-Modified date (then the whole body,
        // 200). False: the whole body, always.
        bool ranges = true;
        // Faults, counted in body bytes of one answer; a silence or a stall
        // lasts until the server stops.
        bool silent = false;          // no status line
        size_t stallAfter = SIZE_MAX; // nothing after this many bytes
        size_t closeAfter = SIZE_MAX; // close the connection after this many bytes
        size_t dripBytes = 0;         // send this many bytes...
        Ms dripEvery{0};              // ...then wait this long, again and again
    };

    struct Request {
        std::map<std::string, std::string> headers; // names in lower case
        // The value of a header (any case), empty when absent.
        std::string Header(std::string name) const;
    };

    TestHttpServer();
    ~TestHttpServer();
    TestHttpServer(const TestHttpServer&) = delete;
    TestHttpServer& operator=(const TestHttpServer&) = delete;

    void Serve(const std::string& path, Resource resource);
    // "http://127.0.0.1:<port><path>"
    std::string Url(const std::string& path) const;
    // Every request received so far, in order.
    std::vector<Request> Requests() const;

private:
    void AcceptLoop();
    void Answer(int fd);
    bool Wait(Ms time) const; // false when the server stops first; Ms(-1): until it stops
    bool Send(int fd, const char* data, size_t size) const;

    int m_listen = -1;
    uint16_t m_port = 0;
    std::atomic<bool> m_stopping{false};
    mutable std::mutex m_mutex;
    std::map<std::string, Resource> m_resources;
    std::vector<Request> m_requests;
    std::vector<std::thread> m_connections;
    std::thread m_acceptor;
};

} // namespace testsupport
