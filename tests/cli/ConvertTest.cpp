// `shadow convert` and the files `shadow run` hands to the conversion steps:
// every layer option restores the bytes, damaged input fails and writes
// nothing, and a result is never partial.
#include <gtest/gtest.h>

#include <cstdlib>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;

class ConvertCli : public ::testing::Test {
protected:
    void SetUp() override {
        // No key configured; the cheapest key derivation the host accepts.
        WriteFile(At("registry.ini"), "[DataStreamEx]\nIterations=100000\n");
        setenv("SHADOW_REGISTRY", At("registry.ini").c_str(), 1);
        setenv("SHADOW_EVENT_LOG", At("events.log").c_str(), 1);
        std::string bytes;
        for (int i = 0; i < 5000; ++i) bytes += static_cast<char>(i * 7 % 256);
        WriteFile(At("in.bin"), bytes + "plain text that compresses, plain text that compresses\n");
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

TEST_F(ConvertCli, EveryLayerOptionRestoresTheBytes) {
    const std::string key = At("key");
    struct Case {
        std::vector<std::string> forward, back; // back: as forward when empty
    } const cases[] = {
        {{"--header", "AB", "--compress-raw", "--hex"}},
        {{"--encrypt", "--key-file", key, "--sha256", "--base64"}},
        {{"--compress", "--encrypt", "--key-env", "SHADOW_TEST_KEY", "--base64-wide"}},
        // The automatic header alone says which layers to undo.
        {{"--auto-header", "--compress", "--encrypt", "--key-file", key, "--base64"},
         {"--auto-header", "--encrypt", "--key-file", key}},
    };
    setenv("SHADOW_TEST_KEY", "from the environment", 1);
    for (const Case& c : cases) {
        std::string shown;
        for (const auto& o : c.forward) shown += o + " ";
        SCOPED_TRACE(shown);
        fs::remove(At("out"));
        fs::remove(At("back"));
        std::vector<std::string> forward{At("in.bin"), At("out")}, back{At("out"), At("back"), "--revert"};
        forward.insert(forward.end(), c.forward.begin(), c.forward.end());
        const auto& undo = c.back.empty() ? c.forward : c.back;
        back.insert(back.end(), undo.begin(), undo.end());
        CliResult result = Convert(forward);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        result = Convert(back);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(ReadFile(At("back")), ReadFile(At("in.bin")));
    }
    unsetenv("SHADOW_TEST_KEY");
}

TEST_F(ConvertCli, DamagedInputOrNoKeyFailsAndWritesNothing) {
    ASSERT_EQ(Convert({At("in.bin"), At("out"), "--compress", "--encrypt", "--key-file", At("key")}).exitCode, 0);
    std::string damaged = ReadFile(At("out"));
    damaged[damaged.size() / 2] ^= 0x01;
    WriteFile(At("damaged"), damaged);
    const std::vector<std::vector<std::string>> cases = {
        {At("damaged"), At("back"), "--revert", "--compress", "--encrypt", "--key-file", At("key")},
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

// "@PATH" and "--output" in `shadow run`; the stream conversion step is
// run by `shadow convert` above.
TEST_F(ConvertCli, RunHandsFilesToStepsAndWritesTheirOutputs) {
    // Two characters in GB2312 and back, the bytes handed over as a file.
    CliResult result = RunShadow({"run", "STRINGConvert", "InStrng=\xE4\xB8\xAD\xE6\x96\x87", "Conversion=CB2312",
                                  "--output", "OutString=" + At("gb")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(ReadFile(At("gb")), "\xD6\xD0\xCE\xC4");
    result = RunShadow({"run", "STRINGConvert", "InStrng=@" + At("gb"), "Conversion=CB2312", "Revert=1", "--output",
                        "OutString=" + At("text")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(ReadFile(At("text")), "\xE4\xB8\xAD\xE6\x96\x87");

    // An output the run did not produce is an error, not an empty file.
    result = RunShadow(
        {"run", "STRINGConvert", "InStrng=abc", "Conversion=Mime64", "--output", "OutString=" + At("none")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_FALSE(fs::exists(At("none")));
}

} // namespace
} // namespace clitest
