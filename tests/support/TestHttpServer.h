// An HTTP/1.1 server inside the test process, on 127.0.0.1 at a port the
// system picks, for tests of downloads. It serves GET from a table of paths
// set up by the test, and can misbehave on purpose.
//
//   testsupport::TestHttpServer server;
//   testsupport::TestHttpServer::Resource page;
//   page.body = std::string(4000, 'x');
//   page.etag = "\"v1\"";
//   page.stallAfter = 1000;                        // then nothing...
//   page.stallFor = std::chrono::milliseconds(-1); // ...until the server stops
//   server.Serve("/file", page);
//   Fetch(server.Url("/file"));
//   EXPECT_EQ(server.Requests().at(0).Header("Range"), "bytes=1000-");
//
// Every answer closes its connection ("Connection: close"); each connection
// runs on a thread of its own. Destroying the server ends every connection
// promptly, stalled ones too (all waits are slices of a few ms that look
// at the stop flag), and joins its threads. Serve and Requests may be
// called from any thread at any time.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
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
    static constexpr Ms kUntilStopped{-1};

    struct Resource {
        std::string body;
        int status = 200;        // another status sends `body` as its page (404, 500...)
        std::string reason;      // the reason phrase; empty: a standard one
        std::string etag;        // sent as ETag when not empty (give the quotes)
        std::string lastModified; // sent as Last-Modified when not empty
        std::string location;    // sent as Location when not empty (give a 3xx status)
        // "Range: bytes=N-" or "bytes=N-M" answered with 206, unless an
        // If-Range names neither the ETag nor the Last-Modified date (then
        // the whole body, 200). False: the whole body, always.
        bool ranges = true;
        // Faults, counted in body bytes of one answer:
        Ms silentFor{0};                 // wait before the status line (kUntilStopped: forever)
        size_t stallAfter = SIZE_MAX;    // stop sending after this many bytes...
        Ms stallFor = kUntilStopped;     // ...for this long, then go on
        size_t closeAfter = SIZE_MAX;    // close the connection after this many bytes
        size_t dripBytes = 0;            // send this many bytes...
        Ms dripEvery{0};                 // ...then wait this long, again and again
    };

    struct Request {
        std::string method, path;
        std::map<std::string, std::string> headers; // names in lower case
        // The value of a header (any case), empty when absent.
        std::string Header(std::string name) const;
    };

    TestHttpServer();
    ~TestHttpServer();
    TestHttpServer(const TestHttpServer&) = delete;
    TestHttpServer& operator=(const TestHttpServer&) = delete;

    // Paths not served answer 404.
    void Serve(const std::string& path, Resource resource);
    uint16_t Port() const { return m_port; }
    // "http://127.0.0.1:<port><path>"
    std::string Url(const std::string& path) const;
    // Every request received so far, in order.
    std::vector<Request> Requests() const;

private:
    void AcceptLoop();
    void Answer(int fd);
    bool Wait(Ms time) const; // false when the server stops first
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
