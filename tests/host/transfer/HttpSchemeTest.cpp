// "URLhttp" fetching from the in-process test server into a work file:
// whole downloads, failures and their texts, time-outs, resumes, the stop
// flag and the progress reports.
#include <fcntl.h>

#include <future>

#include "sdk/ScopedHandles.h"
#include "support/TestHttpServer.h"
#include "tests/host/transfer/TransferTestSupport.h"

using namespace transfertest;
using testsupport::TestHttpServer;
using Ms = std::chrono::milliseconds;

namespace {

struct Fetched {
    host::FetchResult result;
    std::string file;
    Ms took{0};
};

class HttpSchemeTest : public ::testing::Test {
protected:
    void SetLimits(int32_t firstByte, int32_t pause) {
        IPtr<IParametersCreatable> parameters = NewParameters();
        parameters->Add(Str(L"TIMEOUT1").Get(), Int(firstByte).Get(), nullptr, 0);
        parameters->Add(Str(L"TIMEOUTSUBSEQUENT").Get(), Int(pause).Get(), nullptr, 0);
        ASSERT_EQ(m_scheme->put_Parameters(parameters.Get()), S_OK);
    }

    // Fetches into `path` (the work file unless given) as it is; a fetch
    // that outlives 20 s fails the test and is stopped.
    Fetched Fetch(const std::string& url, int64_t offset = 0, const std::string& validator = "",
                  std::string path = "") {
        if (path.empty()) path = m_work;
        ScopedFD fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_TRUE(fd.IsOpen()) << path;
        const host::FetchRequest request{.url = host::FromUtf8(url), .fd = fd.Get(), .offset = offset,
                                         .validator = validator, .stop = &m_stop, .link = kLinkMark,
                                         .versionKnown = [this](const std::string& v) { m_versions.push_back(v); }};
        auto fetcher = QueryAs<host::IFetchScheme>(m_scheme.Get());
        const auto start = std::chrono::steady_clock::now();
        auto running = std::async(std::launch::async, [&] { return fetcher->Fetch(request); });
        if (running.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            ADD_FAILURE() << "the fetch did not end within 20 s";
            m_stop = true;
        }
        return {running.get(), path == m_work ? ReadFile(m_work) : "",
                std::chrono::duration_cast<Ms>(std::chrono::steady_clock::now() - start)};
    }

    TempDir m_dir;
    std::string m_work = m_dir / "work";
    TestHttpServer m_server;
    std::atomic<bool> m_stop{false};
    std::vector<std::string> m_versions; // what each fetch said it writes
    IPtr<IFileArchiveScheme> m_scheme = Make<IFileArchiveScheme>(L"URLhttp");
};

TEST_F(HttpSchemeTest, FetchesWholeFileAndKeepsItsValidator) {
    const std::string body = Pattern(300000), date = "Tue, 03 Mar 2026 10:00:00 GMT";
    struct Case {
        std::string etag, lastModified, validator, path;
    } cases[] = {
        {"\"v1\"", date, "\"v1\"", "/file"},
        {"", date, date, "/file"},
        {"", "", "", "/file"},
        {"\"v1\"", "", "\"v1\"", "/moved"},
    };
    m_server.Serve("/moved", {.status = 302, .location = m_server.Url("/file")});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path + " " + c.validator);
        m_server.Serve("/file", {.body = body, .etag = c.etag, .lastModified = c.lastModified});
        std::filesystem::remove(m_work);
        const Fetched out = Fetch(m_server.Url(c.path));
        EXPECT_TRUE(out.result.complete) << host::ToUtf8(out.result.error.text);
        EXPECT_EQ(out.result.size, static_cast<int64_t>(body.size()));
        EXPECT_EQ(out.result.validator, c.validator);
        EXPECT_EQ(m_versions, std::vector<std::string>{c.validator});
        m_versions.clear();
        EXPECT_TRUE(out.file == body);
    }
}

TEST_F(HttpSchemeTest, FailuresEndIncompleteWithTheirReason) {
    SetLimits(500, 500);
    const std::string body = Pattern(4000);
    struct Case {
        TestHttpServer::Resource resource;
        std::string text;
        int32_t httpStatus;
        size_t written;
    } cases[] = {
        {{.body = body, .status = 500, .reason = "Broken Thing"}, "HTTP 500 Broken Thing", 500, 0},
        {{.body = body, .closeAfter = 1000}, "the connection closed after 1000 of 4000 bytes", 200, 1000},
        {{.body = body, .stallAfter = 1000}, "no data for 500 ms", 200, 1000},
        {{.body = body, .silent = true}, "no answer within 500 ms", 0, 0},
        {{.body = body, .status = 302, .location = "file:///etc/passwd"}, "redirect to file:// refused", 302, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        m_server.Serve("/fault", c.resource);
        std::filesystem::remove(m_work);
        const Fetched out = Fetch(m_server.Url("/fault"));
        EXPECT_FALSE(out.result.complete);
        EXPECT_EQ(out.result.error.status, E_FAIL);
        EXPECT_NE(out.result.error.code, 0);
        EXPECT_EQ(host::ToUtf8(out.result.error.text), c.text);
        EXPECT_EQ(out.result.error.httpStatus, c.httpStatus);
        EXPECT_EQ(out.file.size(), c.written);
        EXPECT_EQ(out.result.size, static_cast<int64_t>(c.written));
        EXPECT_LT(out.took, Ms(3500)) << "a time-out of 500 ms ends the fetch soon after";
    }
}

TEST_F(HttpSchemeTest, RefusedConnectionAndFullDiskAreNamed) {
    std::string closedPort;
    {
        TestHttpServer gone;
        closedPort = gone.Url("/file");
    }
    EXPECT_EQ(host::ToUtf8(Fetch(closedPort).result.error.text), "connection refused");

    m_server.Serve("/file", {.body = Pattern(100000)});
    const Fetched out = Fetch(m_server.Url("/file"), 0, "", "/dev/full");
    EXPECT_FALSE(out.result.complete);
    EXPECT_EQ(host::ToUtf8(out.result.error.text), "no space left on device");
    EXPECT_EQ(out.result.error.code, ENOSPC);
}

TEST_F(HttpSchemeTest, ResumesOnlyTheSameVersion) {
    const std::string body = Pattern(50000), junk(1000, 'Z');
    struct Case {
        const char* name;
        bool ranges;
        std::string etag, validator, prefix;
        int32_t httpStatus;
    } cases[] = {
        {"honoured", true, "\"v1\"", "\"v1\"", body.substr(0, 1000), 206},
        {"ignored", false, "\"v1\"", "\"v1\"", junk, 200},
        {"changed", true, "\"v2\"", "\"v1\"", junk, 200},
        {"no validator", true, "\"v1\"", "", junk, 200},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.name);
        m_server.Serve("/file", {.body = body, .etag = c.etag, .ranges = c.ranges});
        WriteFile(m_work, c.prefix);
        const Fetched out = Fetch(m_server.Url("/file"), 1000, c.validator);
        EXPECT_TRUE(out.result.complete) << host::ToUtf8(out.result.error.text);
        EXPECT_EQ(out.result.error.httpStatus, c.httpStatus);
        EXPECT_EQ(out.result.validator, c.etag);
        EXPECT_EQ(m_versions, std::vector<std::string>{c.etag});
        m_versions.clear();
        EXPECT_TRUE(out.file == body);
        const TestHttpServer::Request asked = m_server.Requests().at(i);
        EXPECT_EQ(asked.Header("Range"), c.validator.empty() ? "" : "bytes=1000-");
        EXPECT_EQ(asked.Header("If-Range"), c.validator);
    }
    // An error answer leaves the bytes already there, and their version, as they were.
    WriteFile(m_work, junk);
    const Fetched out = Fetch(m_server.Url("/gone"), 1000, "\"v1\"");
    EXPECT_EQ(host::ToUtf8(out.result.error.text), "HTTP 404 Not Found");
    EXPECT_EQ(out.result.error.httpStatus, 404);
    EXPECT_EQ(out.result.size, 1000);
    EXPECT_EQ(out.result.validator, "\"v1\"");
    EXPECT_EQ(out.file, junk);
    EXPECT_TRUE(m_versions.empty());
}

TEST_F(HttpSchemeTest, StopFlagAbortsPromptly) {
    m_server.Serve("/stall", {.body = Pattern(4000), .stallAfter = 100});
    std::thread stopper([this] {
        std::this_thread::sleep_for(Ms(300));
        m_stop = true;
    });
    const Fetched out = Fetch(m_server.Url("/stall"));
    stopper.join();
    EXPECT_EQ(out.result.error.status, E_ABORT);
    EXPECT_FALSE(out.result.complete);
    EXPECT_LT(out.took, Ms(2500));
}

TEST_F(HttpSchemeTest, ProgressIsPacedEndsWithTheTotalAndStopsAfterUnadvise) {
    SetLimits(2000, 1000);
    // About a second in all, each pause well below the limit.
    m_server.Serve("/drip", {.body = Pattern(3000), .dripBytes = 200, .dripEvery = Ms(60)});
    IPtr<ProgressProbe> probe = ProgressProbe::Make();
    auto events = QueryAs<IEventSource>(m_scheme.Get());
    ASSERT_EQ(events->Advise(probe.Get(), 1), S_OK);

    const Fetched out = Fetch(m_server.Url("/drip"));
    EXPECT_TRUE(out.result.complete) << host::ToUtf8(out.result.error.text);
    const int calls = probe->Calls();
    EXPECT_EQ(probe->Last(), ProgressProbe::Report(QueryAs<IUnknown>(m_scheme.Get()).Get(), 3000, 3000, kLinkMark));
    EXPECT_GE(calls, 2);
    EXPECT_LE(calls, out.took.count() / 200 + 3) << "at most five a second and the last";

    ASSERT_EQ(events->Advise(probe.Get(), 0), S_OK);
    EXPECT_TRUE(Fetch(m_server.Url("/drip")).result.complete);
    EXPECT_EQ(probe->Calls(), calls);
}

} // namespace

// Against the FTP and SFTP servers scripts/test-servers.sh starts for the
// test run: whole files, and an SFTP server whose key is not known refused.
TEST_F(HttpSchemeTest, FetchesOverFtpAndSftpAndRefusesAnUnknownServerKey) {
    const char* root = std::getenv("SHADOW_TEST_SERVER_ROOT");
    if (!root) GTEST_SKIP() << "no test servers (run scripts/test.sh)";
    const std::string body = Pattern(200000);
    const std::string name = "scheme-" + m_dir.Path().filename().string() + ".bin";
    WriteFile(std::filesystem::path(root) / name, body);
    WriteFile(m_dir / "empty_known_hosts", "");
    const std::string sftp = std::string(std::getenv("SHADOW_TEST_SFTP_URL")) + root + "/" + name;
    struct Case {
        std::string url, knownHosts;
        bool complete;
        std::string reason;
    } cases[] = {
        {std::string(std::getenv("SHADOW_TEST_FTP_URL")) + "/" + name, "", true, ""},
        {sftp, std::getenv("SHADOW_TEST_SSH_KNOWN_HOSTS"), true, ""},
        {sftp, m_dir / "empty_known_hosts", false, "is not in the known-hosts file"},
    };
    ScopedEnv registry("SHADOW_REGISTRY", (m_dir / "registry.ini").c_str());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url.substr(0, 4) + " " + c.knownHosts);
        WriteFile(m_dir / "registry.ini", "[SSH]\nPrivateKey=" + std::string(std::getenv("SHADOW_TEST_SSH_KEY")) +
                                              "\nKnownHosts=" + c.knownHosts + "\n");
        std::filesystem::remove(m_work);
        const Fetched out = Fetch(c.url);
        EXPECT_EQ(out.result.complete, c.complete) << host::ToUtf8(out.result.error.text);
        EXPECT_NE(host::ToUtf8(out.result.error.text).find(c.reason), std::string::npos)
            << host::ToUtf8(out.result.error.text);
        EXPECT_TRUE(c.complete ? out.file == body : out.file.empty());
    }
}
