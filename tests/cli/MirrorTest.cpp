// `shadow mirror` on temporary trees.
#include <gtest/gtest.h>

#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <csignal>
#include <map>
#include <thread>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Every entry below `root` with its content (files), its target (links) or
// nothing (folders): equal snapshots mean a byte-for-byte equal tree.
std::map<std::string, std::string> Snapshot(const fs::path& root) {
    std::map<std::string, std::string> entries;
    if (!fs::exists(root)) return entries;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const std::string name = fs::relative(entry.path(), root).string();
        if (entry.is_symlink()) entries[name] = "-> " + fs::read_symlink(entry.path()).string();
        else if (entry.is_regular_file()) entries[name] = ReadFile(entry.path());
        else entries[name + "/"];
    }
    return entries;
}

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

// The steps come in the order the run takes them: the copy pass level by
// level (files, then sub-folders), then the clean pass (files, then the
// contents of a removed folder before the folder).
TEST_F(Mirror, DryRunPrintsTheStepsInRunOrderAndChangesNothing) {
    CliResult absent = RunShadow({"mirror", SrcRoot(), DstRoot(), "--dry-run"});
    ASSERT_EQ(absent.exitCode, 0) << absent.err;
    EXPECT_EQ(absent.out.rfind("would create folder: " + DstRoot() + "\n", 0), 0u) << absent.out;
    EXPECT_EQ(CountOf(absent.out, "would copy: "), 5u) << absent.out;
    EXPECT_FALSE(fs::exists(DstRoot()));

    ASSERT_EQ(RunShadow({"mirror", SrcRoot(), DstRoot()}).exitCode, 0);
    fs::remove(Src("top.txt"));
    fs::remove_all(Src("docs/deep"));
    WriteFile(Src("docs/readme.md"), "# changed\n");
    WriteFile(Src("fresh/new.txt"), "new\n");
    WriteFile(Src("linked/x.txt"), "x\n");
    fs::create_directories(m_tree / "elsewhere");
    fs::create_directory_symlink(m_tree / "elsewhere", Dst("linked"));
    const auto before = Snapshot(m_tree.Path());

    CliResult result = RunShadow({"mirror", SrcRoot(), DstRoot(), "--clean", "--dry-run"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "would copy: " + Src("docs/readme.md") + " -> " + Dst("docs/readme.md") + "\n" +
                              "would create folder: " + Dst("fresh") + "\n" +
                              "would copy: " + Src("fresh/new.txt") + " -> " + Dst("fresh/new.txt") + "\n" +
                              "would skip folder: " + Dst("linked") + " (a symbolic link, not entered)\n" +
                              "would delete: " + Dst("top.txt") + "\n" +
                              "would delete: " + Dst("docs/deep/er/leaf.bin") + "\n" +
                              "would delete folder: " + Dst("docs/deep/er") + "\n" +
                              "would delete folder: " + Dst("docs/deep") + "\n" +
                              "Dry run, nothing changed: would copy 2 files (14 bytes), create 1 folder, skip 1 "
                              "folder, delete 2 files (293.0 KB) and 2 folders\n");
    EXPECT_EQ(Snapshot(m_tree.Path()), before);
}

TEST_F(Mirror, MaxDeleteRefusesMoreDeletionsThanAllowedBeforeAnythingRuns) {
    ASSERT_EQ(RunShadow({"mirror", SrcRoot(), DstRoot()}).exitCode, 0);
    fs::remove(Src("top.txt"));
    fs::remove_all(Src("docs/deep")); // one file in two folders
    WriteFile(Src("later.txt"), "not copied by a refused run\n");
    const auto before = Snapshot(DstRoot());

    CliResult refused = RunShadow({"mirror", SrcRoot(), DstRoot(), "--clean", "--max-delete", "3"});
    EXPECT_EQ(refused.exitCode, 1) << refused.err;
    EXPECT_NE(refused.err.find("would delete 4 entries (2 files, 2 folders)"), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find("nothing was changed"), std::string::npos) << refused.err;
    EXPECT_EQ(Snapshot(DstRoot()), before);

    CliResult allowed = RunShadow({"mirror", SrcRoot(), DstRoot(), "--clean", "--max-delete=4"});
    ASSERT_EQ(allowed.exitCode, 0) << allowed.err;
    EXPECT_TRUE(TreesEqual(SrcRoot(), DstRoot()));
}

// The component trims leading blanks, control characters and byte-order-mark
// characters from its source path; a relative name starting with one must
// still reach it whole ("\xc3\xbe" is the character the trimming takes).
TEST(MirrorRelative, SourceNameStartingWithATrimmedCharacterIsMirroredWhole) {
    const std::vector<std::string> sources = {"\xc3\xbe" "data", "\xc3\xbe"};
    for (const std::string& source : sources) {
        TempFolder tree;
        WriteFile(tree / (source + "/kept.txt"), "kept");
        WriteFile(tree / "data/other.txt", "the wrong folder");
        WriteFile(tree / "out/stale.txt", "stale");
        CliResult result = RunShadowIn(tree.Path(), {"mirror", source, "out", "--clean"});
        ASSERT_EQ(result.exitCode, 0) << source << "\n" << result.err << result.out;
        EXPECT_EQ(TreeListing(tree / "out"), std::vector<std::string>{"kept.txt"}) << source;
        EXPECT_EQ(ReadFile(tree / (source + "/kept.txt")), "kept");
    }
}

// A bind mount of one folder inside the other shows in no path spelling,
// yet the walk follows it (a destination mounted inside its source recursed
// until paths grew too long).
class BindMount final {
public:
    BindMount(const fs::path& folder, const fs::path& at) : m_at(at) {
        if (::mount(folder.c_str(), at.c_str(), nullptr, MS_BIND, nullptr) != 0) m_error = std::strerror(errno);
    }
    ~BindMount() {
        if (m_error.empty()) ::umount2(m_at.c_str(), MNT_DETACH);
    }
    BindMount(const BindMount&) = delete;
    BindMount& operator=(const BindMount&) = delete;
    const std::string& Error() const { return m_error; }

private:
    fs::path m_at;
    std::string m_error;
};

TEST(MirrorMounts, FolderMountedInsideTheOtherIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "bind mounts need root";
    TempFolder tree;
    WriteFile(tree / "src/a.txt", "a");
    WriteFile(tree / "dst/b.txt", "b");
    fs::create_directories(tree / "src/m");
    BindMount mount(tree / "dst", tree / "src/m"); // unmounted before `tree` goes
    if (!mount.Error().empty()) GTEST_SKIP() << "cannot bind-mount here: " << mount.Error();

    const std::vector<std::vector<std::string>> cases = {
        {"mirror", tree / "src", tree / "dst"},
        {"mirror", tree / "dst", tree / "src", "--clean"},
    };
    for (const auto& args : cases) {
        CliResult result = RunShadow(args);
        EXPECT_EQ(result.exitCode, 2) << args[1] << "\n" << result.err;
        EXPECT_NE(result.err.find("through the mount point " + (tree / "src/m")), std::string::npos) << result.err;
    }
    EXPECT_EQ(TreeListing(tree / "dst"), std::vector<std::string>{"b.txt"});
    EXPECT_EQ(ReadFile(tree / "src/a.txt"), "a");
}

} // namespace
} // namespace clitest
