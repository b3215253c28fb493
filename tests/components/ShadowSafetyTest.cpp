// Faults a mirroring run must survive without losing data: a source that is
// unmounted or replaced during the clean pass, a full disk, links planted in
// the destination, leftovers of killed runs, names that cannot be mirrored.
// Tests that mount file systems run as root only.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>

#include "MirrorFixture.h"

namespace {

bool CanMount() { return ::geteuid() == 0; }

// A tmpfs of the given size mounted on `at` for the life of the object.
class ScopedTmpfs final {
public:
    ScopedTmpfs(const fs::path& at, const std::string& size) : m_at(at) {
        fs::create_directories(at);
        m_mounted = ::mount("tmpfs", at.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
    }
    ~ScopedTmpfs() {
        if (m_mounted) ::umount2(m_at.c_str(), MNT_DETACH);
    }
    ScopedTmpfs(const ScopedTmpfs&) = delete;
    ScopedTmpfs& operator=(const ScopedTmpfs&) = delete;

    bool Mounted() const { return m_mounted; }
    bool Resize(const std::string& size) {
        return ::mount("tmpfs", m_at.c_str(), "tmpfs", MS_REMOUNT, ("size=" + size).c_str()) == 0;
    }
    // Detaches it, as `umount -l` does: its mount point stays, empty.
    void LazyUnmount() { m_mounted = ::umount2(m_at.c_str(), MNT_DETACH) != 0; }

private:
    fs::path m_at;
    bool m_mounted = false;
};

enum class SourceFault { ReplacedByAnEmptyFolder, LazilyUnmounted };

class SourceFaultTest : public MirrorTest, public ::testing::WithParamInterface<SourceFault> {};

TEST_P(SourceFaultTest, StopsTheCleanPassBeforeTheNextDeletion) {
    std::unique_ptr<ScopedTmpfs> mount;
    if (GetParam() == SourceFault::LazilyUnmounted) {
        if (!CanMount()) GTEST_SKIP() << "mounting a tmpfs needs root";
        mount = std::make_unique<ScopedTmpfs>(src, "4m");
        if (!mount->Mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
    }
    for (const char* folder : {"a", "b"})
        for (int i = 0; i < 3; ++i) Write(src / folder / std::to_string(i), "data");
    ASSERT_EQ(S_OK, Mirror(true, true, false));
    Write(dst / "0-only-in-destination", "x"); // the first deletion

    RecordingDisplay display;
    display.onLine = [&](const RecordingDisplay::Line& line) {
        if (line.text.rfind("Deleting: ", 0) != 0 || fs::exists(root / "moved")) return;
        fs::create_directory(root / "moved"); // once
        if (mount) {
            mount->LazyUnmount();
        } else {
            fs::rename(src, root / "moved" / "src");
            fs::create_directory(src);
        }
    };
    EXPECT_EQ(S_OK, Mirror(true, true, true, &display));

    EXPECT_EQ(1, DeleteStatistics().first);
    for (const char* folder : {"a", "b"}) EXPECT_EQ(3u, Names(dst / folder).size()) << folder;
    EXPECT_TRUE(display.Has("Connection Aborted (Clean)", LINE_ERROR));
}

INSTANTIATE_TEST_SUITE_P(Faults, SourceFaultTest,
                         ::testing::Values(SourceFault::ReplacedByAnEmptyFolder, SourceFault::LazilyUnmounted),
                         [](const auto& info) {
                             return info.param == SourceFault::LazilyUnmounted ? "LazilyUnmounted"
                                                                               : "ReplacedByAnEmptyFolder";
                         });

TEST_P(WorkFileModeTest, LinksPlantedInTheDestinationAreNeverFollowed) {
    const fs::path outside = root / "outside";
    Write(outside / "file", "secret");
    fs::permissions(outside / "file", fs::perms::owner_read | fs::perms::owner_write);
    Write(outside / "dir" / "keep", "k");
    Write(outside / "other", "other");
    Write(src / "f", "new");
    Write(src / "sub" / "g", "g");
    fs::create_directories(dst);
    fs::create_symlink(outside / "file", dst / "f");
    fs::create_symlink(outside / "dir", dst / "sub");
    fs::create_symlink(outside / "other", dst / "gone");
    FailureListener failures;

    EXPECT_EQ(S_OK, Mirror(false, true, true));

    EXPECT_FALSE(fs::is_symlink(dst / "f"));
    EXPECT_EQ("new", Read(dst / "f"));
    EXPECT_EQ("secret", Read(outside / "file"));
    EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write, fs::status(outside / "file").permissions());
    // The folder link is skipped and reported; what it points at is untouched.
    EXPECT_TRUE(fs::is_symlink(dst / "sub"));
    EXPECT_EQ(std::vector<std::string>{"keep"}, Names(outside / "dir"));
    EXPECT_EQ(1u, failures.Count("skipped " + (dst / "sub").string()));
    // A link the source lacks is removed itself.
    EXPECT_FALSE(fs::is_symlink(dst / "gone"));
    EXPECT_EQ("other", Read(outside / "other"));
}

TEST_F(MirrorTest, FoldersAndFilesGetTheirModesUnderTheUmask) {
    Write(src / "sub" / "deeper" / "f", "f");
    fs::permissions(src / "sub" / "deeper" / "f", fs::perms(0640));
    Write(src / "tool", "#!");
    fs::permissions(src / "tool", fs::perms(04755));
    const bool asRoot = CanMount();
    if (asRoot) {
        ASSERT_EQ(0, ::chown((src / "tool").c_str(), 65534, 65534)); // someone else's
    }
    const mode_t saved = ::umask(022);
    dst = root / "new" / "dst";
    EXPECT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_EQ(022u, ::umask(saved)); // never changed by the run

    for (const fs::path& folder : {dst.parent_path(), dst, dst / "sub", dst / "sub" / "deeper"})
        EXPECT_EQ(fs::perms(0755), fs::status(folder).permissions()) << folder;
    EXPECT_EQ(fs::perms(0640), fs::status(dst / "sub" / "deeper" / "f").permissions());
    // A copy owned by the runner keeps no set-user bit of another owner.
    EXPECT_EQ(fs::perms(asRoot ? 0755 : 04755), fs::status(dst / "tool").permissions());
}

TEST_P(WorkFileModeTest, AFullDiskKeepsTheOldTargetAndARerunRepairsIt) {
    if (!CanMount()) GTEST_SKIP() << "mounting a tmpfs needs root";
    ScopedTmpfs disk(dst, "1m");
    if (!disk.Mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
    Write(dst / "big", "the complete older copy");
    SetTime(dst / "big", fs::file_time_type::clock::now() - std::chrono::hours(1));
    Write(src / "big", std::string(3 << 20, 'n'));
    FailureListener failures;

    EXPECT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_EQ("the complete older copy", Read(dst / "big"));
    EXPECT_EQ(std::vector<std::string>{"big"}, Names(dst)); // no work file left
    EXPECT_EQ(1u, failures.Count("No space left on device"));

    ASSERT_TRUE(disk.Resize("8m"));
    EXPECT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_EQ(std::string(3 << 20, 'n'), Read(dst / "big"));
}

INSTANTIATE_TEST_SUITE_P(WorkFiles, WorkFileModeTest, ::testing::Bool(), WorkFileModeTest::ModeName);

TEST_F(MirrorTest, WorkFilesOfKilledRunsGoAndThoseInUseStay) {
    Write(src / "a", "a");
    Write(dst / ".shadow-partial-000000000000", "left by a killed run");
    Write(dst / ".shadow-partial-111111111111", "a copy still running");
    Write(dst / "sub" / ".shadow-partial-222222222222", "in a folder the source lost");
    const int running = ::open((dst / ".shadow-partial-111111111111").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(running, 0);
    ASSERT_EQ(0, ::flock(running, LOCK_EX));
    RecordingDisplay display;

    EXPECT_EQ(S_OK, Mirror(true, true, true, &display));
    ::close(running);

    EXPECT_EQ((std::vector<std::string>{".shadow-partial-111111111111", "a"}), Names(dst));
    // Work files are no entries of the tree: neither counted nor shown.
    EXPECT_EQ(1, CopyStatistics().first);
    EXPECT_EQ(0, DeleteStatistics().first);
    EXPECT_EQ(1u, display.CountStarting("Deleting Folder+: "));
    EXPECT_EQ(0u, display.CountStarting("Deleting: "));
}

TEST_F(MirrorTest, NamesThatAreNotUtf8AreReportedNotMangled) {
    Write(src / "bad\xff", "b");
    Write(src / "dir\xfe" / "f", "f");
    FailureListener failures;
    EXPECT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_TRUE(Names(dst).empty());
    EXPECT_EQ(2u, failures.Count("the name is not valid UTF-8"));
}

} // namespace
