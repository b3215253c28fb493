// `shadow convert` and the file handling `shadow run` learned for the
// conversion steps: protect and restore files and folders, fail cleanly on
// damaged input, and never leave a partial result.
#include <gtest/gtest.h>

#include <cstdlib>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;

class ConvertCli : public ::testing::Test {
protected:
    void SetUp() override {
        // A registry and an event log of the test's own: no key configured,
        // and the cheapest key derivation the host accepts, so that runs
        // under an emulator stay quick.
        WriteFile(At("registry.ini"), "[DataStreamEx]\nIterations=100000\n");
        setenv("SHADOW_REGISTRY", At("registry.ini").c_str(), 1);
        setenv("SHADOW_EVENT_LOG", At("events.log").c_str(), 1);
        std::string bytes;
        for (int i = 0; i < 5000; ++i) bytes += static_cast<char>(i * 7 % 256);
        bytes += "plain text that compresses, plain text that compresses\n";
        WriteFile(At("in.bin"), bytes);
        WriteFile(At("key"), "correct horse\n");
    }
    void TearDown() override {
        unsetenv("SHADOW_REGISTRY");
        unsetenv("SHADOW_EVENT_LOG");
    }
    std::string At(const std::string& relative) const { return m_tree / relative; }
    CliResult Convert(std::vector<std::string> args) {
        args.insert(args.begin(), "convert");
        return RunShadow(args);
    }

    TempFolder m_tree;
};

TEST_F(ConvertCli, EveryLayerCombinationRestoresTheBytes) {
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"--compress"},
        {"--compress-raw", "--hex"},
        {"--encrypt", "--key-file", At("key"), "--sha256", "--base64"},
        {"--compress", "--encrypt", "--key-env", "SHADOW_TEST_KEY", "--base64-wide"},
        {"--header", "AB", "--compress", "--sha256"},
    };
    setenv("SHADOW_TEST_KEY", "from the environment", 1);
    for (const auto& options : cases) {
        std::string shown;
        for (const auto& o : options) shown += o + " ";
        SCOPED_TRACE(shown);
        fs::remove(At("out"));
        fs::remove(At("back"));
        std::vector<std::string> forward{At("in.bin"), At("out")};
        forward.insert(forward.end(), options.begin(), options.end());
        CliResult result = Convert(forward);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        std::vector<std::string> back{At("out"), At("back"), "--revert"};
        back.insert(back.end(), options.begin(), options.end());
        result = Convert(back);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(ReadFile(At("back")), ReadFile(At("in.bin")));
    }
    unsetenv("SHADOW_TEST_KEY");
}

TEST_F(ConvertCli, TheAutomaticHeaderAloneIsEnoughToRestore) {
    ASSERT_EQ(Convert({At("in.bin"), At("out"), "--auto-header", "--compress", "--encrypt", "--key-file", At("key"),
                       "--base64"})
                  .exitCode,
              0);
    CliResult result = Convert({At("out"), At("back"), "--revert", "--auto-header", "--encrypt", "--key-file", At("key")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(ReadFile(At("back")), ReadFile(At("in.bin")));
}

TEST_F(ConvertCli, DamagedInputOrAWrongKeyFailsAndWritesNothing) {
    ASSERT_EQ(Convert({At("in.bin"), At("out"), "--compress", "--encrypt", "--key-file", At("key")}).exitCode, 0);
    std::string damaged = ReadFile(At("out"));
    damaged[damaged.size() / 2] ^= 0x01;
    WriteFile(At("damaged"), damaged);
    WriteFile(At("wrong"), "battery staple\n");
    const std::vector<std::vector<std::string>> cases = {
        {At("damaged"), At("back"), "--revert", "--compress", "--encrypt", "--key-file", At("key")},
        {At("out"), At("back"), "--revert", "--compress", "--encrypt", "--key-file", At("wrong")},
        {At("out"), At("back"), "--revert", "--compress"},
        {At("in.bin"), At("back"), "--encrypt"}, // no key given and none configured
    };
    for (const auto& args : cases) {
        CliResult result = Convert(args);
        EXPECT_EQ(result.exitCode, 1) << result.err;
        EXPECT_FALSE(result.err.empty());
        EXPECT_FALSE(fs::exists(At("back")));
        EXPECT_EQ(result.err.find("correct horse"), std::string::npos) << "the key must never be shown";
    }
}

TEST_F(ConvertCli, AnExistingResultIsReplacedOnlyWithForce) {
    WriteFile(At("out"), "keep me");
    CliResult result = Convert({At("in.bin"), At("out"), "--compress"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(ReadFile(At("out")), "keep me");
    EXPECT_EQ(Convert({At("in.bin"), At("out"), "--compress", "--force"}).exitCode, 0);
    EXPECT_NE(ReadFile(At("out")), "keep me");
}

TEST_F(ConvertCli, AFolderIsPackedProtectedAndUnpacked) {
    WriteFile(At("folder/a.txt"), "alpha\n");
    WriteFile(At("folder/sub/deeper/b.bin"), std::string(3000, '\x7f'));
    WriteFile(At("folder/sub/empty.txt"), "");
    fs::create_directories(At("folder/sub/empty folder"));
    CliResult result = Convert({"--zip", At("folder"), At("packed"), "--compress", "--encrypt", "--key-file", At("key")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    result = Convert({"--revert", "--unzip", At("restored"), At("packed"), "--compress", "--encrypt", "--key-file",
                      At("key")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(TreesEqual(At("folder"), At("restored")));
}

TEST_F(ConvertCli, RunHandsFilesToStepsAndWritesTheirOutputs) {
    CliResult result = RunShadow({"run", "STREAMConvert", "Stream=@" + At("in.bin"), "Compress=On", "Mime=MimeHex",
                                  "--output", "OutputStream=" + At("hex")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    result = RunShadow({"run", "STREAMConvert", "Stream=@" + At("hex"), "Compress=On", "Mime=MimeHex", "Revert=1",
                        "--output", "OutputStream=" + At("back")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(ReadFile(At("back")), ReadFile(At("in.bin")));

    // Two characters in GB2312 and back, the bytes handed over as a file.
    result = RunShadow({"run", "STRINGConvert", "InStrng=\xE4\xB8\xAD\xE6\x96\x87", "Conversion=CB2312", "--output",
                        "OutString=" + At("gb")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(ReadFile(At("gb")), "\xD6\xD0\xCE\xC4");
    result = RunShadow({"run", "STRINGConvert", "InStrng=@" + At("gb"), "Conversion=CB2312", "Revert=1", "--output",
                        "OutString=" + At("text")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(ReadFile(At("text")), "\xE4\xB8\xAD\xE6\x96\x87");

    // An output the run did not produce is an error, not an empty file.
    result = RunShadow({"run", "STRINGConvert", "InStrng=abc", "Conversion=Mime64", "--output", "OutString=" + At("none")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_FALSE(fs::exists(At("none")));
}

} // namespace
} // namespace clitest
