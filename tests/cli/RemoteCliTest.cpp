// `shadow upload`, `shadow fas create` and `shadow sync` against the test
// servers (WebDAV, FTP, SFTP; scripts/test-servers.sh): the same runs over
// each protocol, with the FTP password read from ~/.netrc only, and the FTP
// server with faults refusing an upload without losing its source.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <regex>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;

struct Server {
    const char* name;
    const char* variable;
    bool absolute; // sftp:// paths start at the file system's root
};
constexpr Server kServers[] = {
    {"WebDAV", "SHADOW_TEST_DAV_URL", false},
    {"FTP", "SHADOW_TEST_FTP_URL", false},
    {"SFTP", "SHADOW_TEST_SFTP_URL", true},
};

class RemoteCli : public ::testing::Test {
protected:
    void SetUp() override {
        const char* root = std::getenv("SHADOW_TEST_SERVER_ROOT");
        if (!root) GTEST_SKIP() << "no test servers (run scripts/test.sh)";
        m_root = fs::path(root) / ("cli " + m_tmp.Path().filename().string());
        WriteFile(m_tmp.Path() / "registry.ini", std::string("[SSH]\nPrivateKey=") +
                                                     std::getenv("SHADOW_TEST_SSH_KEY") + "\nKnownHosts=" +
                                                     std::getenv("SHADOW_TEST_SSH_KNOWN_HOSTS") + "\n");
        m_env.emplace_back("SHADOW_REGISTRY", (m_tmp.Path() / "registry.ini").string());
        m_env.emplace_back("SHADOW_EVENT_LOG", (m_tmp.Path() / "events.log").string());
        m_env.emplace_back("HOME", (m_tmp.Path() / "home").string());
        std::string netrc;
        for (const char* variable : {"SHADOW_TEST_FTP_URL", "SHADOW_TEST_FAULT_FTP_URL"}) {
            std::smatch m;
            const std::string url = std::getenv(variable);
            if (std::regex_match(url, m, std::regex(R"(ftp://([^:]+):([^@]+)@(.*))"))) {
                netrc += "machine 127.0.0.1 login " + m[1].str() + " password " + m[2].str() + "\n";
                m_withoutPassword[variable] = "ftp://" + m[1].str() + "@" + m[3].str();
            }
        }
        // Both FTP servers use the same user and password on one host.
        WriteFile(m_tmp.Path() / "home" / ".netrc", netrc.substr(0, netrc.find('\n') + 1));
        fs::permissions(m_tmp.Path() / "home" / ".netrc", fs::perms::owner_read | fs::perms::owner_write);
        for (auto& [name, value] : m_env) {
            m_saved.emplace_back(name, std::getenv(name.c_str()) ? std::getenv(name.c_str()) : "");
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    void TearDown() override {
        for (auto& [name, value] : m_saved) setenv(name.c_str(), value.c_str(), 1);
        if (!m_root.empty()) fs::remove_all(m_root);
    }
    // The URL of `folder` under this test's folder on the server, no password in it.
    std::string Url(const char* variable, bool absolute, const std::string& folder) {
        const std::string base = m_withoutPassword.count(variable) ? m_withoutPassword[variable] : std::getenv(variable);
        const std::string below = absolute ? m_root.string() : "/" + m_root.filename().string();
        return base + below + "/" + folder;
    }

    TempFolder m_tmp;
    fs::path m_root;
    std::vector<std::pair<std::string, std::string>> m_env, m_saved;
    std::map<std::string, std::string> m_withoutPassword;
};

TEST_F(RemoteCli, UploadsUpdatesInstallsAndCommitsOverEachProtocol) {
    for (const Server& s : kServers) {
        SCOPED_TRACE(s.name);
        const std::string tag = s.name;
        WriteFile(m_tmp.Path() / tag / "src" / "a.txt", "alpha");
        WriteFile(m_tmp.Path() / tag / "src" / "b.bin", std::string(300000, 'b'));
        CliResult r = RunShadow({"upload", (m_tmp.Path() / tag / "src").string(), Url(s.variable, s.absolute, tag + "/up")});
        EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
        EXPECT_EQ(ReadFile(m_root / tag / "up" / "b.bin"), std::string(300000, 'b'));
        EXPECT_FALSE(fs::exists(m_tmp.Path() / tag / "src" / "a.txt"));

        const std::string server = Url(s.variable, s.absolute, tag + "/up");
        const fs::path client = m_tmp.Path() / tag / "client";
        fs::create_directories(client);
        ASSERT_EQ(RunShadow({"fas", "create", server, "scheme.fas"}).exitCode, 0);
        r = RunShadow({"sync", "install", server, client.string()});
        EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
        EXPECT_EQ(ReadFile(client / "a.txt"), "alpha");

        WriteFile(m_root / tag / "up" / "a.txt", "alpha 2");
        ASSERT_EQ(RunShadow({"fas", "create", server, "scheme.fas"}).exitCode, 0);
        r = RunShadow({"sync", "update", server, client.string()});
        EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
        EXPECT_EQ(ReadFile(client / "a.txt"), "alpha 2");

        WriteFile(client / "sub" / "c.txt", "charlie");
        r = RunShadow({"sync", "commit", server, client.string()});
        EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
        EXPECT_EQ(ReadFile(m_root / tag / "up" / "sub" / "c.txt"), "charlie");
        EXPECT_NE(ReadFile(m_root / tag / "up" / "scheme.fas").find("sub/c.txt"), std::string::npos);
    }
}

TEST_F(RemoteCli, AnUploadTheServerDropsKeepsItsSourceAndTheOthersGo) {
    if (!std::getenv("SHADOW_TEST_FAULT_FTP_URL")) GTEST_SKIP() << "no FTP server with faults";
    WriteFile(m_tmp.Path() / "src" / "drop-big.bin", std::string(2000000, 'd'));
    WriteFile(m_tmp.Path() / "src" / "ok.txt", "sent");
    const CliResult r = RunShadow({"upload", (m_tmp.Path() / "src").string(),
                                   Url("SHADOW_TEST_FAULT_FTP_URL", false, "faults")});
    EXPECT_EQ(r.exitCode, 1) << r.out << r.err;
    EXPECT_NE((r.out + r.err).find("Upload Error"), std::string::npos) << r.out;
    EXPECT_EQ(ReadFile(m_tmp.Path() / "src" / "drop-big.bin"), std::string(2000000, 'd'));
    EXPECT_FALSE(fs::exists(m_root / "faults" / "drop-big.bin"));
    // The server itself was reached: the other file went and its source with it.
    EXPECT_EQ(ReadFile(m_root / "faults" / "ok.txt"), "sent");
    EXPECT_FALSE(fs::exists(m_tmp.Path() / "src" / "ok.txt"));
}

} // namespace
} // namespace clitest
