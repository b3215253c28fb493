// Transfers sharing a CurlConnections pool against the FTP and SFTP test
// servers: later requests reuse the first one's connection and login, a
// request outside the pool opens its own, and an sftp request told to
// trust other server keys never takes a connection checked under the
// first ones.
#include <cstdlib>
#include <filesystem>

#include "host/transfer/CurlTransfer.h"
#include "tests/host/transfer/TransferTestSupport.h"

using namespace transfertest;

TEST(CurlConnectionsTest, RequestsOfAPoolShareALoginCheckedTheSameWay) {
    const char* root = std::getenv("SHADOW_TEST_SERVER_ROOT");
    if (!root) GTEST_SKIP() << "no test servers (run scripts/test.sh)";
    TempDir dir;
    const std::string name = "pool-" + dir.Path().filename().string() + ".bin";
    WriteFile(std::filesystem::path(root) / name, Pattern(5000));
    const std::string knownHosts = std::getenv("SHADOW_TEST_SSH_KNOWN_HOSTS");
    // The same keys under another name: the same trust, checked apart.
    std::filesystem::copy_file(knownHosts, dir / "known_hosts_copy");
    const std::string urls[] = {std::string(std::getenv("SHADOW_TEST_FTP_URL")) + "/" + name,
                                std::string(std::getenv("SHADOW_TEST_SFTP_URL")) + root + "/" + name};
    for (const std::string& url : urls) {
        SCOPED_TRACE(url.substr(0, 4));
        host::CurlConnections pool;
        // (known hosts, pooled) → connections the size request opened
        const struct {
            std::string knownHosts;
            bool pooled;
            long connected;
        } steps[] = {
            {knownHosts, true, 1},
            {knownHosts, true, 0},
            {knownHosts, false, 1},
            {dir / "known_hosts_copy", true, url.starts_with("sftp") ? 1 : 0},
            {knownHosts, true, 0},
        };
        for (const auto& step : steps) {
            WriteFile(dir / "registry.ini", "[SSH]\nPrivateKey=" + std::string(std::getenv("SHADOW_TEST_SSH_KEY")) +
                                                "\nKnownHosts=" + step.knownHosts + "\n");
            ScopedEnv registry("SHADOW_REGISTRY", (dir / "registry.ini").c_str());
            host::CurlTransfer transfer(url, {}, nullptr, {}, step.pooled ? &pool : nullptr);
            const host::CurlReply reply = transfer.Perform({.sizeOnly = true});
            EXPECT_EQ(reply.error.status, S_OK) << host::ToUtf8(reply.error.text);
            EXPECT_EQ(reply.length, 5000);
            EXPECT_EQ(reply.connected, step.connected);
        }
    }
    std::filesystem::remove(std::filesystem::path(root) / name);
}
