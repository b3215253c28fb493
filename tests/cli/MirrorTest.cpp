// `shadow mirror` on temporary trees.
#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class Mirror : public ::testing::Test {
protected:
    void SetUp() override {
        WriteFile(Src("top.txt"), "top level\n");
        WriteFile(Src("empty.dat"), "");
        WriteFile(Src("docs/readme.md"), "# read me\n");
        WriteFile(Src("docs/deep/er/leaf.bin"), std::string(300000, '\x5a'));
        WriteFile(Src("n\xc3\xa4me with blanks.txt"), "non-ASCII name\n");
        // Source files older than anything the run writes, so that the
        // copies count as up to date afterwards.
        for (const auto& entry : fs::recursive_directory_iterator(m_tree.Path() / "src"))
            if (entry.is_regular_file()) SetAge(entry.path(), 3600s);
    }
    std::string Src(const std::string& relative = "") const { return m_tree / ("src/" + relative); }
    std::string Dst(const std::string& relative = "") const { return m_tree / ("dst/" + relative); }
    std::string SrcRoot() const { return m_tree / "src"; }
    std::string DstRoot() const { return m_tree / "dst"; }

    TempFolder m_tree;
};

TEST_F(Mirror, CopiesTheWholeTreeAndReportsIt) {
    CliResult result = RunShadow({"mirror", SrcRoot(), DstRoot()});
    ASSERT_EQ(result.exitCode, 0) << result.err << result.out;
    EXPECT_TRUE(TreesEqual(SrcRoot(), DstRoot()));
    EXPECT_EQ(TreeListing(SrcRoot()), TreeListing(DstRoot()));
    EXPECT_NE(result.out.find("Copied:  5 files"), std::string::npos) << result.out;
    // Not a terminal: every line of the run is printed.
    EXPECT_NE(result.out.find("Copying: " + Src("top.txt")), std::string::npos) << result.out;
    EXPECT_EQ(result.out.find("Deleted:"), std::string::npos) << result.out;
}

TEST_F(Mirror, SecondRunCopiesNothingButANewerFile) {
    ASSERT_EQ(RunShadow({"mirror", SrcRoot(), DstRoot()}).exitCode, 0);

    CliResult again = RunShadow({"mirror", SrcRoot(), DstRoot()});
    ASSERT_EQ(again.exitCode, 0) << again.err;
    EXPECT_NE(again.out.find("Copied:  0 files, 0 bytes"), std::string::npos) << again.out;
    EXPECT_EQ(again.out.find("Copying: "), std::string::npos) << again.out;

    WriteFile(Src("docs/readme.md"), "# changed\n"); // now newer than its copy
    CliResult changed = RunShadow({"mirror", SrcRoot(), DstRoot()});
    ASSERT_EQ(changed.exitCode, 0) << changed.err;
    EXPECT_NE(changed.out.find("Copied:  1 file, 10 bytes"), std::string::npos) << changed.out;
    EXPECT_EQ(ReadFile(Dst("docs/readme.md")), "# changed\n");

    CliResult all = RunShadow({"mirror", SrcRoot(), DstRoot(), "--all"});
    ASSERT_EQ(all.exitCode, 0) << all.err;
    EXPECT_NE(all.out.find("Copied:  5 files"), std::string::npos) << all.out;
}

TEST_F(Mirror, CleanRemovesWhatTheSourceNoLongerHas) {
    ASSERT_EQ(RunShadow({"mirror", SrcRoot(), DstRoot()}).exitCode, 0);
    fs::remove(Src("top.txt"));
    fs::remove_all(Src("docs/deep"));

    CliResult kept = RunShadow({"mirror", SrcRoot(), DstRoot()});
    ASSERT_EQ(kept.exitCode, 0) << kept.err;
    EXPECT_TRUE(fs::exists(Dst("top.txt"))) << "without --clean nothing is deleted";

    CliResult cleaned = RunShadow({"mirror", SrcRoot(), DstRoot(), "--clean"});
    ASSERT_EQ(cleaned.exitCode, 0) << cleaned.err << cleaned.out;
    EXPECT_FALSE(fs::exists(Dst("top.txt")));
    EXPECT_FALSE(fs::exists(Dst("docs/deep")));
    EXPECT_TRUE(TreesEqual(SrcRoot(), DstRoot()));
    EXPECT_NE(cleaned.out.find("Deleted: 2 files"), std::string::npos) << cleaned.out;
}

TEST_F(Mirror, FlatLeavesSubFoldersAlone) {
    CliResult result = RunShadow({"mirror", SrcRoot(), DstRoot(), "--flat"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(TreeListing(DstRoot()),
              (std::vector<std::string>{"empty.dat", "n\xc3\xa4me with blanks.txt", "top.txt"}));
}

TEST_F(Mirror, TrailingSlashesAndOptionEndMarkerAreAccepted) {
    CliResult result = RunShadow({"mirror", "--verbose", "--", SrcRoot() + "/", DstRoot() + "//"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(TreesEqual(SrcRoot(), DstRoot()));
}

// Ctrl-C stops the copy between two files: the run ends early with 130 and
// leaves only whole files behind.
TEST(MirrorInterrupt, CtrlCStopsTheRunWith130) {
    TempFolder tree;
    const int files = 4000;
    for (int i = 0; i < files; ++i) WriteFile(tree / ("src/f" + std::to_string(i)), std::string(64, 'x'));

    BackgroundShadow process({"mirror", tree / "src", tree / "dst"});
    auto deadline = std::chrono::steady_clock::now() + 30s;
    while (process.OutputSoFar().find("Copying: ") == std::string::npos &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(1ms);
    ASSERT_EQ(kill(process.Pid(), SIGINT), 0);
    CliResult result = process.Wait();

    EXPECT_EQ(result.exitCode, 130) << result.err;
    EXPECT_NE(result.err.find("interrupted"), std::string::npos) << result.err;
    size_t copied = TreeListing(tree / "dst").size();
    EXPECT_GT(copied, 0u);
    EXPECT_LT(copied, static_cast<size_t>(files));
    for (const std::string& name : TreeListing(tree / "dst"))
        EXPECT_EQ(ReadFile(tree / ("dst/" + name)), std::string(64, 'x')) << name;
}

} // namespace
} // namespace clitest
