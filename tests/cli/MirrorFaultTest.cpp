// `shadow mirror` under faults that a run must survive without losing data:
// a copy killed half-way, source folders it may not read, a destination it
// may not write. The permission cases run the program as the user nobody,
// which only root can do; they skip otherwise.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class MirrorFault : public ::testing::Test {
protected:
    std::string Src(const std::string& relative = "") const { return m_tree / ("src/" + relative); }
    std::string Dst(const std::string& relative = "") const { return m_tree / ("dst/" + relative); }

    // Hands the whole tree to nobody, who can then read and write it.
    void GiveToNobody() {
        for (const auto& entry : fs::recursive_directory_iterator(m_tree.Path()))
            ASSERT_EQ(0, ::lchown(entry.path().c_str(), kNobody, kNobody));
        ASSERT_EQ(0, ::chown(m_tree.Path().c_str(), kNobody, kNobody));
    }

    static constexpr uid_t kNobody = 65534;
    TempFolder m_tree;
};

bool HasWorkFile(const fs::path& folder) {
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().filename().string().rfind(".shadow-partial-", 0) == 0) return true;
    return false;
}

// Whether the process holds a file open in `folder` (given with its
// trailing slash): an unnamed work file shows as "folder/#inode (deleted)".
bool WritesInto(pid_t pid, const std::string& folder) {
    std::error_code error;
    for (const auto& fd : fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd", error))
        if (fs::read_symlink(fd.path(), error).string().rfind(folder, 0) == 0) return true;
    return false;
}

TEST_F(MirrorFault, AKilledCopyLeavesTheOlderTargetAndARerunRepairsIt) {
    WriteFile(Src("big.bin"), std::string(128 << 20, 'n'));
    WriteFile(Dst("big.bin"), "the complete older copy");
    SetAge(Dst("big.bin"), 3600s);

    BackgroundShadow run({"mirror", Src(), Dst()});
    // Killed as soon as the copy has begun writing.
    bool writing = false;
    for (int i = 0; i < 20000 && !writing; ++i) {
        writing = WritesInto(run.Pid(), Dst());
        if (!writing) std::this_thread::sleep_for(100us);
    }
    if (!writing) GTEST_SKIP() << "the copy ended before it could be interrupted";
    ::kill(run.Pid(), SIGKILL);
    EXPECT_EQ(128 + SIGKILL, run.Wait().exitCode);
    EXPECT_EQ("the complete older copy", ReadFile(Dst("big.bin")));

    CliResult again = RunShadow({"mirror", Src(), Dst()});
    EXPECT_EQ(0, again.exitCode) << again.err;
    EXPECT_TRUE(TreesEqual(Src(), Dst()));
    EXPECT_FALSE(HasWorkFile(Dst()));
}

// Source folders nobody cannot list (mode 000) or can list but not read the
// entries of (mode 444: the names without their status).
class UnreadableSource : public MirrorFault, public ::testing::WithParamInterface<int> {};

TEST_P(UnreadableSource, WithCleanDeletesNothing) {
    if (::geteuid() != 0) GTEST_SKIP() << "running as another user needs root";
    WriteFile(Src("open/f"), "f");
    WriteFile(Src("locked/a"), "a");
    WriteFile(Src("locked/b"), "b");
    ASSERT_EQ(0, RunShadow({"mirror", Src(), Dst()}).exitCode);
    GiveToNobody();
    fs::permissions(Src("locked"), fs::perms(GetParam()));

    CliResult result = RunShadowAsNobody({"mirror", "--clean", Src(), Dst()});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_NE(std::string::npos, result.err.find("Permission denied")) << result.err;
    EXPECT_EQ(ReadFile(Dst("locked/a")), "a");
    EXPECT_EQ(ReadFile(Dst("locked/b")), "b");
    fs::permissions(Src("locked"), fs::perms(0755)); // so the tree can be removed
}

INSTANTIATE_TEST_SUITE_P(Modes, UnreadableSource, ::testing::Values(0000, 0444),
                         [](const auto& info) { return info.param == 0 ? "NotListable" : "NotSearchable"; });

TEST_F(MirrorFault, AReadOnlyDestinationExitsWithItsFailures) {
    if (::geteuid() != 0) GTEST_SKIP() << "running as another user needs root";
    WriteFile(Src("a"), "a");
    WriteFile(Src("sub/b"), "b");
    GiveToNobody();
    fs::create_directory(Dst()); // root's, so nobody may not write in it

    CliResult result = RunShadowAsNobody({"mirror", Src(), Dst()});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_NE(std::string::npos, result.err.find("2 failures")) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("cannot copy " + Src("a") + " to " + Dst("a") +
                                                 ": Permission denied"))
        << result.err;
    EXPECT_TRUE(fs::is_empty(Dst()));
}

} // namespace
} // namespace clitest
