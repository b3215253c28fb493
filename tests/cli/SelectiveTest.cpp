// `shadow selective`: chosen folders and files mirrored, the list file
// written and read back, and the entries that are refused.
#include <gtest/gtest.h>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;

class SelectiveCli : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("SHADOW_REGISTRY", At("registry.ini").c_str(), 1);
        setenv("SHADOW_EVENT_LOG", At("events.log").c_str(), 1);
        WriteFile(At("src/docs/a.txt"), "a");
        WriteFile(At("src/docs/deep/b.txt"), "b");
        WriteFile(At("src/lib/a.cfg"), "config");
        WriteFile(At("src/other/left.txt"), "not listed");
        fs::create_directories(At("dst/lib"));
    }
    void TearDown() override {
        unsetenv("SHADOW_REGISTRY");
        unsetenv("SHADOW_EVENT_LOG");
    }
    std::string At(const std::string& relative) const { return m_tree / relative; }

    TempFolder m_tree;
};

TEST_F(SelectiveCli, MirrorsTheListedFoldersAndFilesOnly) {
    CliResult r = RunShadow({"selective", At("src"), At("dst"), "docs", "lib/a.cfg", "--verbose"});
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_EQ(TreeListing(At("dst")),
              (std::vector<std::string>{"docs/", "docs/a.txt", "docs/deep/", "docs/deep/b.txt", "lib/", "lib/a.cfg"}));
    EXPECT_EQ(CountOf(r.out, "ShadowSelective: Copied"), 1u) << r.out;
}

TEST_F(SelectiveCli, AListFileIsSavedLoadedAndRunAgain) {
    const std::string list = At("list.xml");
    CliResult saved = RunShadow({"selective", At("src"), At("dst"), "docs", "--save", list, "--no-run"});
    ASSERT_EQ(saved.exitCode, 0) << saved.err;
    EXPECT_FALSE(fs::exists(At("dst/docs")));
    EXPECT_EQ(ReadFile(list).rfind("<?xml version=\"1.0\"", 0), 0u) << ReadFile(list);
    CliResult loaded = RunShadow({"selective", "--load", list});
    ASSERT_EQ(loaded.exitCode, 0) << loaded.out << loaded.err;
    EXPECT_EQ(ReadFile(At("dst/docs/deep/b.txt")), "b");
}

TEST_F(SelectiveCli, RefusesWhatWouldLeaveTheRootsAndReportsAFileWithoutItsFolder) {
    for (const char* entry : {"../src", "docs/../../x", "/etc"}) {
        CliResult r = RunShadow({"selective", At("src"), At("dst"), entry});
        EXPECT_EQ(r.exitCode, 2) << entry << r.err;
    }
    // other/ does not exist under dst: the file is not copied, and that fails the run.
    CliResult r = RunShadow({"selective", At("src"), At("dst"), "other/left.txt"});
    EXPECT_EQ(r.exitCode, 1) << r.out << r.err;
    EXPECT_FALSE(fs::exists(At("dst/other")));
}

} // namespace
} // namespace clitest
