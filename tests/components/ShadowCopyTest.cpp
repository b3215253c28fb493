// The copy pass: what is copied, what is skipped, the statistics, the
// result line, stopping.
#include "MirrorFixture.h"

#include "components/FileSystem.h"

namespace {

TEST_F(MirrorTest, CopiesTreeAndCountsFilesAndBytes) {
    Write(src / "a.txt", "alpha");
    Write(src / "sub" / "b.txt", "bravo!");
    Write(src / "sub" / "deeper" / "c.txt", "c");
    RecordingDisplay display;
    EXPECT_EQ(S_OK, Mirror(true, true, false, &display));
    EXPECT_EQ("alpha", Read(dst / "a.txt"));
    EXPECT_EQ("bravo!", Read(dst / "sub" / "b.txt"));
    EXPECT_EQ("c", Read(dst / "sub" / "deeper" / "c.txt"));
    EXPECT_EQ(std::make_pair(3, 12.0), CopyStatistics());
    EXPECT_TRUE(display.Has("Scanning: " + src.string(), LINE_PROGRESS));
    EXPECT_TRUE(display.Has("Copying: " + (src / "a.txt").string(), LINE_STATUS));
    for (const auto& line : display.Lines()) EXPECT_EQ("Shadow Copy", line.title);
}

TEST_F(MirrorTest, NewOnlyCopiesStrictlyNewerFiles) {
    Write(src / "same.txt", "source");
    Write(src / "newer.txt", "source");
    Write(src / "older.txt", "source");
    Write(dst / "same.txt", "target");
    Write(dst / "newer.txt", "target");
    Write(dst / "older.txt", "target");
    const auto base = fs::file_time_type::clock::now() - std::chrono::hours(1);
    SetTime(src / "same.txt", base);
    SetTime(dst / "same.txt", base);
    SetTime(src / "newer.txt", base + std::chrono::nanoseconds(1000));
    SetTime(dst / "newer.txt", base);
    SetTime(src / "older.txt", base);
    SetTime(dst / "older.txt", base + std::chrono::seconds(1));

    EXPECT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_EQ("target", Read(dst / "same.txt"));
    EXPECT_EQ("source", Read(dst / "newer.txt"));
    EXPECT_EQ("target", Read(dst / "older.txt"));
    EXPECT_EQ(1, CopyStatistics().first);

    // Without new-only every file is copied again.
    EXPECT_EQ(S_OK, Mirror(false, true, false));
    EXPECT_EQ("source", Read(dst / "same.txt"));
    EXPECT_EQ("source", Read(dst / "older.txt"));
}

TEST_F(MirrorTest, SecondRunCopiesNothing) {
    Write(src / "a.txt", "a");
    Write(src / "x" / "b.txt", "b");
    ASSERT_EQ(S_OK, Mirror(true, true, false));
    const auto first = CopyStatistics();
    ASSERT_EQ(S_OK, Mirror(true, true, false));
    // Direct calls add up: nothing was added by the second run.
    EXPECT_EQ(first, CopyStatistics());
}

TEST_F(MirrorTest, SubFolderSwitchOffStaysInTopFolder) {
    Write(src / "top.txt", "t");
    Write(src / "sub" / "inner.txt", "i");
    EXPECT_EQ(S_OK, Mirror(true, false, false));
    EXPECT_TRUE(fs::exists(dst / "top.txt"));
    EXPECT_FALSE(fs::exists(dst / "sub"));
}

TEST_F(MirrorTest, EmptyFileIsCreatedAndCountedThoughTheCopyFails) {
    Write(src / "empty.txt", "");
    EXPECT_EQ(E_FAIL, OSCopyFile(CREFString(Wide((src / "empty.txt").string()).c_str()),
                                 CREFString(Wide((root / "direct.txt").string()).c_str()), 1));
    EXPECT_TRUE(fs::exists(root / "direct.txt"));
    EXPECT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_TRUE(fs::exists(dst / "empty.txt"));
    EXPECT_EQ(0u, fs::file_size(dst / "empty.txt"));
    EXPECT_EQ(std::make_pair(1, 0.0), CopyStatistics());
}

TEST_F(MirrorTest, NonAsciiNamesKeepTheirBytes) {
    const std::string names[] = {"café.txt", "日本語", "emoji-😀.bin", "ß/ü.txt"};
    for (const auto& n : names) Write(src / n, n);
    EXPECT_EQ(S_OK, Mirror(true, true, false));
    for (const auto& n : names) EXPECT_EQ(n, Read(dst / n)) << n;
}

TEST_F(MirrorTest, CopyKeepsPermissionsAndLargeContent) {
    std::string big(3 * 1024 * 1024 + 17, '\0');
    for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>((i * 2654435761u) >> 13);
    Write(src / "big.bin", big);
    Write(src / "script.sh", "#!/bin/sh\n");
    fs::permissions(src / "script.sh", fs::perms::owner_all | fs::perms::group_read);
    EXPECT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_EQ(big, Read(dst / "big.bin"));
    EXPECT_EQ(fs::perms::owner_all | fs::perms::group_read, fs::status(dst / "script.sh").permissions());
}

TEST_P(WorkFileModeTest, OverwriteSwitchOffRefusesAnExistingTarget) {
    Write(src / "f", "new");
    Write(dst / "f", "old");
    const std::wstring from = Wide((src / "f").string()), to = Wide((dst / "f").string());
    EXPECT_EQ(E_FAIL, OSCopyFile(CREFString(from.c_str()), CREFString(to.c_str()), 0));
    EXPECT_EQ("old", Read(dst / "f"));
    EXPECT_EQ(S_OK, OSCopyFile(CREFString(from.c_str()), CREFString(to.c_str()), 1));
    EXPECT_EQ("new", Read(dst / "f"));
    const std::wstring missing = Wide((src / "missing").string());
    EXPECT_EQ(E_FAIL, OSCopyFile(CREFString(missing.c_str()), CREFString(to.c_str()), 1));
}

TEST_F(MirrorTest, VerifyTellsFoldersFromFiles) {
    Write(src / "file", "x");
    EXPECT_EQ(1, OSVerify(CREFString(Wide(src.string()).c_str())));
    EXPECT_EQ(0, OSVerify(CREFString(Wide((src / "file").string()).c_str())));
    EXPECT_EQ(E_FAIL, OSVerify(CREFString(Wide((src / "none").string()).c_str())));
    EXPECT_EQ(E_FAIL, OSVerify(CREFString()));
}

TEST_F(MirrorTest, StopDuringCopyAbortsAfterTheCurrentFiles) {
    for (int i = 0; i < 100; ++i) Write(src / ("f" + std::to_string(100 + i)), "x");
    CStopEvent stop;
    RecordingDisplay display;
    size_t copiedAtStop = 0;
    display.onLine = [&](const RecordingDisplay::Line& line) {
        if (line.text.rfind("Copying: ", 0) != 0 || stop.IsSet()) return;
        stop.Set();
        copiedAtStop = Names(dst).size();
    };
    auto* object = static_cast<CShadow*>(shadow.Get());
    fs::create_directories(dst);
    EXPECT_EQ(E_ABORT, object->Copy(HostString(src).Get(), HostString(dst).Get(), 1, 1, &display, &stop));
    // A copy under way when the stop came (the second thread's) ends; no
    // other starts, and every file copied is shown and counted.
    const std::vector<std::string> copied = Names(dst);
    EXPECT_LE(copied.size(), copiedAtStop + 1);
    EXPECT_EQ(static_cast<int32_t>(copied.size()), CopyStatistics().first);
    EXPECT_EQ(copied.size(), display.CountStarting("Copying: "));
    ASSERT_FALSE(display.Lines().empty());
    EXPECT_EQ("Aborted", display.Lines().back().text);
    EXPECT_EQ(LINE_STATUS, display.Lines().back().kind);
}

TEST_F(MirrorTest, MissingSourceFailsTheCopy) {
    auto* object = static_cast<CShadow*>(shadow.Get());
    EXPECT_TRUE(FAILED(object->Copy(HostString(root / "absent").Get(), HostString(dst).Get(), 1, 1, nullptr,
                                    nullptr)));
}

struct InfoCase {
    const char* name; // the row's test name
    int files;
    double bytes;
    const wchar_t* label;
    const wchar_t* destination;
    const wchar_t* expected;
};

class InfoStringTest : public ::testing::TestWithParam<InfoCase> {};

TEST_P(InfoStringTest, FormatsTheResultLine) {
    const InfoCase& c = GetParam();
    CFileStatistics statistics;
    for (int i = 0; i < c.files; ++i) statistics.Add(i == 0 ? c.bytes : 0);
    IPtr<IString> line;
    ASSERT_EQ(S_OK, statistics.GetInfoString(CREFString(c.destination), CREFString(c.label), line.Out()));
    CREFString view(line.Get());
    EXPECT_EQ(std::wstring(c.expected), std::wstring(view.m_pString, static_cast<size_t>(view.m_Length)));
}

INSTANTIATE_TEST_SUITE_P(
    Units, InfoStringTest,
    ::testing::Values(
        InfoCase{"Kbytes", 3, 5000, L"Copied ", L"/d", L"Copied  3 Files (4.9          Kbytes) on /d "},
        InfoCase{"ExactlyOneKbyteIsBytes", 1, 1024, L"Copied ", L"/d", L"Copied  1 Files (1024          bytes) on /d "},
        InfoCase{"OneByteMoreIsKbytes", 1, 1025, L"Deleted", L"/d", L"Deleted 1 Files (1.0          Kbytes) on /d "},
        InfoCase{"Mbytes", 2, 3.5 * 1024 * 1024, L"Copied ", L"/x", L"Copied  2 Files (3.50         Mbytes) on /x "},
        InfoCase{"TerabytesStayGbytes", 1, 5.0 * 1024 * 1024 * 1024 * 1024, L"Copied ", L"/x",
                 L"Copied  1 Files (5120.00      Gbytes) on /x "},
        InfoCase{"Nothing", 0, 0, L"Deleted", L"", L"Deleted 0 Files (0             bytes) on  "}),
    [](const ::testing::TestParamInfo<InfoCase>& info) { return std::string(info.param.name); });

// Folders large enough that their destination is listed on the side thread,
// several levels deep, with a mix of new, changed, unchanged and stale files.
TEST_F(MirrorTest, LargeFoldersMirrorExactlyWhenListedSideBySide) {
    constexpr int kFiles = 40;
    fs::path level = src;
    for (int depth = 0; depth < 4; ++depth) {
        for (int i = 0; i < kFiles; ++i) Write(level / ("f" + std::to_string(i) + ".txt"), std::to_string(depth * i));
        level /= "sub" + std::to_string(depth);
    }
    ASSERT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_EQ(4 * kFiles, CopyStatistics().first);

    // Unchanged: nothing is copied again (the statistics add up over runs).
    ASSERT_EQ(S_OK, Mirror(true, true, false));
    EXPECT_EQ(4 * kFiles, CopyStatistics().first);

    // One newer file per level and one stale file per level.
    level = src;
    fs::path mirror = dst;
    for (int depth = 0; depth < 4; ++depth) {
        Write(level / "f7.txt", "changed");
        SetTime(level / "f7.txt", fs::file_time_type::clock::now() + std::chrono::hours(1));
        Write(mirror / "stale.txt", "xx");
        level /= "sub" + std::to_string(depth);
        mirror /= "sub" + std::to_string(depth);
    }
    ASSERT_EQ(S_OK, Mirror(true, true, true));
    EXPECT_EQ(4 * kFiles + 4, CopyStatistics().first);
    EXPECT_EQ(std::make_pair(4, 8.0), DeleteStatistics());
    mirror = dst;
    for (int depth = 0; depth < 4; ++depth) {
        EXPECT_EQ("changed", Read(mirror / "f7.txt"));
        EXPECT_FALSE(fs::exists(mirror / "stale.txt"));
        EXPECT_EQ(std::to_string(depth * 3), Read(mirror / "f3.txt"));
        mirror /= "sub" + std::to_string(depth);
    }
}

} // namespace
