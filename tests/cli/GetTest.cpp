// `shadow get`: downloads from real servers (Python's http.server, pyftpdlib,
// OpenSSH's sftp, which scripts/test-servers.sh starts for the test run),
// the exit code and the reason of a failed download.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;

// The value of a variable the test servers' script exports; empty when the
// tests run without the servers.
std::string ServerVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string RandomBytes(size_t size) {
    std::mt19937 generator(static_cast<unsigned>(size));
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(generator());
    return bytes;
}

class GetCli : public ::testing::Test {
protected:
    void SetUp() override {
        std::string settings = "[SSH]\nPrivateKey=" + ServerVariable("SHADOW_TEST_SSH_KEY") +
                               "\nKnownHosts=" + ServerVariable("SHADOW_TEST_SSH_KNOWN_HOSTS") + "\n";
        WriteFile(At("registry.ini"), settings);
        setenv("SHADOW_REGISTRY", At("registry.ini").c_str(), 1);
        setenv("SHADOW_EVENT_LOG", At("events.log").c_str(), 1);
    }
    void TearDown() override {
        unsetenv("SHADOW_REGISTRY");
        unsetenv("SHADOW_EVENT_LOG");
    }
    std::string At(const std::string& relative) const { return m_tree / relative; }
    CliResult Get(const std::string& url, std::vector<std::string> more = {}) {
        std::vector<std::string> args{"get", url, "--cache", At("cache")};
        args.insert(args.end(), more.begin(), more.end());
        return RunShadow(args);
    }
    // A file with `bytes` in a folder of this test's own on the servers;
    // returns its path below the served folder.
    std::string Serve(const std::string& name, const std::string& bytes) {
        const std::string root = ServerVariable("SHADOW_TEST_SERVER_ROOT");
        if (root.empty()) return {};
        const fs::path folder = fs::path(root) / m_tree.Path().filename();
        fs::create_directories(folder);
        WriteFile(folder / name, bytes);
        return m_tree.Path().filename().string() + "/" + name;
    }

    TempFolder m_tree;
};

TEST_F(GetCli, DownloadsWholeFilesOverHttpFtpAndSftp) {
    if (ServerVariable("SHADOW_TEST_HTTP_URL").empty()) GTEST_SKIP() << "no test servers (run scripts/test.sh)";
    const std::string bytes = RandomBytes(300 * 1024 + 7);
    const std::string served = Serve("data.bin", bytes);
    const std::string root = ServerVariable("SHADOW_TEST_SERVER_ROOT");
    const std::string urls[] = {
        ServerVariable("SHADOW_TEST_HTTP_URL") + "/" + served,
        ServerVariable("SHADOW_TEST_FTP_URL") + "/" + served,
        ServerVariable("SHADOW_TEST_SFTP_URL") + root + "/" + served,
    };
    for (const std::string& url : urls) {
        SCOPED_TRACE(url.substr(0, url.find(':')));
        fs::remove_all(At("cache"));
        CliResult r = Get(url);
        ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
        EXPECT_EQ(ReadFile(At("cache/data.bin")), bytes);
        EXPECT_NE(r.out.find(At("cache/data.bin")), std::string::npos) << r.out;
        // Only the file: no work file or note is left beside it.
        EXPECT_EQ(TreeListing(At("cache")), std::vector<std::string>{"data.bin"});
    }
    // The FTP password is in the URL but never in a line or the log.
    const std::string ftp = ServerVariable("SHADOW_TEST_FTP_URL");
    const size_t at = ftp.find('@');
    const size_t colon = ftp.rfind(':', at);
    const std::string password = ftp.substr(colon + 1, at - colon - 1);
    CliResult missing = Get(ftp + "/" + m_tree.Path().filename().string() + "/missing.bin");
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ((missing.out + missing.err + ReadFile(At("events.log"))).find(password), std::string::npos);
}

TEST_F(GetCli, AFailedDownloadSaysWhyAndLeavesNoFile) {
    if (ServerVariable("SHADOW_TEST_HTTP_URL").empty()) GTEST_SKIP() << "no test servers (run scripts/test.sh)";
    const std::string http = ServerVariable("SHADOW_TEST_HTTP_URL");
    // A port that was free a moment ago: nothing listens there.
    const std::string refused = "http://127.0.0.1:1/none.bin";
    struct Case {
        std::string url;
        std::string reason;
    } cases[] = {
        {http + "/no/such/file.bin", "404"},
        {refused, "refused"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        CliResult r = Get(c.url);
        EXPECT_EQ(r.exitCode, 1) << r.out << r.err;
        EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
        EXPECT_FALSE(fs::exists(At("cache/file.bin")));
        EXPECT_NE(ReadFile(At("events.log")).find(c.reason), std::string::npos);
    }
}

TEST_F(GetCli, ShowsAProgressBarOnATerminal) {
    if (ServerVariable("SHADOW_TEST_HTTP_URL").empty()) GTEST_SKIP() << "no test servers (run scripts/test.sh)";
    const std::string served = Serve("bar.bin", RandomBytes(2 * 1024 * 1024));
    CliResult r = RunShadowOnTerminal(
        {"get", ServerVariable("SHADOW_TEST_HTTP_URL") + "/" + served, "--cache", At("cache")}, 100);
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    // Redraws are paced, so which percentages show varies; the bar does.
    EXPECT_NE(r.out.find("] Downloading (2048 K) "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("[#"), std::string::npos) << r.out;
}

} // namespace
} // namespace clitest
