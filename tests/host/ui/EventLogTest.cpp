#include <cstdio>
#include <set>
#include <thread>

#include "host/ui/EventLog.h"
#include "support/HostTestSupport.h"

namespace fs = std::filesystem;
using namespace hosttest;

namespace {

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// Splits "YYYY-MM-DD HH:MM:SS.mmm rest" into its rest; false when the line
// does not start with such a time stamp.
bool StripStamp(const std::string& line, std::string* rest) {
    static const std::string mask = "dddd-dd-dd dd:dd:dd.ddd ";
    if (line.size() < mask.size()) return false;
    for (size_t i = 0; i < mask.size(); ++i) {
        const bool digit = line[i] >= '0' && line[i] <= '9';
        if (mask[i] == 'd' ? !digit : line[i] != mask[i]) return false;
    }
    *rest = line.substr(mask.size());
    return true;
}

class EventLogFile : public ::testing::Test {
protected:
    static IPtr<IUILineDisplayable> NewLog() { return Make<IUILineDisplayable>(L"EventLogGlobal"); }
    static HRESULT Show(IUILineDisplayable* log, const std::wstring& title, const std::wstring& text, uint32_t kind) {
        return log->DisplayLine(Str(title).Get(), Str(text).Get(), kind);
    }
    static HRESULT Save(IUILineDisplayable* log) {
        IPtr<IFileArchive> archive = QueryAs<IFileArchive>(log);
        return archive ? archive->Save() : E_NOINTERFACE;
    }

    TempDir m_tmp;
    const fs::path m_dir = m_tmp.Path();
    const fs::path m_file = m_dir / "nested" / "folder" / "events.log";
    ScopedEnv m_env{"SHADOW_EVENT_LOG", m_file.c_str()};
};

} // namespace

TEST(EventLogFormat, FixedTimeAndKinds) {
    std::optional<ScopedEnv> tz(std::in_place, "TZ", "UTC");
    tzset();
    const timespec when{0, 999999999};
    struct Case {
        const wchar_t* title;
        const wchar_t* text;
        uint32_t kind;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {L"Shadow", L"Exception 0", LINE_ERROR, L"1970-01-01 00:00:00.999 Shadow: Exception 0 [error]"},
        {L"Shadow", L"12 files", LINE_STATUS, L"1970-01-01 00:00:00.999 Shadow: 12 files [status]"},
        {L"Scan", L"a", LINE_PROGRESS, L"1970-01-01 00:00:00.999 Scan: a [progress]"},
        {L"Up", L"b", LINE_UPLOAD_ERROR, L"1970-01-01 00:00:00.999 Up: b [upload error]"},
        {L"", L"no title", 5, L"1970-01-01 00:00:00.999 no title [0x00000005]"},
        {L"Two\nlines", L"one\r\ntwo", 0, L"1970-01-01 00:00:00.999 Two lines: one  two [0x00000000]"},
    };
    for (const Case& c : cases) EXPECT_EQ(host::FormatEventLine(when, c.title, c.text, c.kind), c.expected);
    const timespec later{86400 * 365 + 61, 5000000};
    EXPECT_EQ(host::FormatEventLine(later, L"", L"x", 0).substr(0, 23), L"1971-01-01 00:01:01.005");
    tz.reset();
    tzset();
}

TEST(EventLogFormat, DefaultLocationFollowsTheEnvironment) {
    struct Case {
        const char* log;
        const char* state;
        const char* home;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {"/a/b.log", "/state", "/home/u", L"/a/b.log"},
        {nullptr, "/state", "/home/u", L"/state/shadow/events.log"},
        {"", "/state", "/home/u", L"/state/shadow/events.log"},
        {nullptr, nullptr, "/home/u", L"/home/u/.local/state/shadow/events.log"},
        {nullptr, "", "/home/u", L"/home/u/.local/state/shadow/events.log"},
    };
    for (const Case& c : cases) {
        ScopedEnv log("SHADOW_EVENT_LOG", c.log), state("XDG_STATE_HOME", c.state), home("HOME", c.home);
        EXPECT_EQ(host::DefaultEventLogPath(), c.expected);
    }
}

TEST_F(EventLogFile, AppendsTimestampedLinesAndSaveFlushes) {
    fs::create_directories(m_file.parent_path());
    std::ofstream(m_file) << "earlier line\n";
    IPtr<IUILineDisplayable> log = NewLog();
    ASSERT_TRUE(log);
    ASSERT_EQ(Show(log.Get(), L"Shadow", L"Exception 0", LINE_ERROR), S_OK);
    ASSERT_EQ(Show(log.Get(), L"Shadow", L"caf\u00E9", LINE_STATUS), S_OK);
    ASSERT_EQ(Save(log.Get()), S_OK);

    const std::vector<std::string> lines = Lines(ReadFile(m_file));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "earlier line");
    std::string rest;
    ASSERT_TRUE(StripStamp(lines[1], &rest)) << lines[1];
    EXPECT_EQ(rest, "Shadow: Exception 0 [error]");
    ASSERT_TRUE(StripStamp(lines[2], &rest)) << lines[2];
    EXPECT_EQ(rest, "Shadow: caf\xC3\xA9 [status]");
    EXPECT_LE(lines[1].substr(0, 23), lines[2].substr(0, 23));

    // A log file removed meanwhile is made anew, not written into the void.
    fs::remove(m_file);
    ASSERT_EQ(Show(log.Get(), L"Shadow", L"after removal", LINE_STATUS), S_OK);
    ASSERT_EQ(Save(log.Get()), S_OK);
    ASSERT_EQ(Lines(ReadFile(m_file)).size(), 1u);

    // A second instance appends to the same file.
    IPtr<IUILineDisplayable> other = NewLog();
    ASSERT_EQ(Show(other.Get(), L"", L"third", LINE_PROGRESS), S_OK);
    ASSERT_EQ(Save(other.Get()), S_OK);
    EXPECT_EQ(Lines(ReadFile(m_file)).size(), 2u);
}

TEST_F(EventLogFile, FilenameIsPerInstance) {
    IPtr<IUILineDisplayable> log = NewLog();
    IPtr<IFileArchive> archive = QueryAs<IFileArchive>(log.Get());
    ASSERT_TRUE(archive);
    IPtr<IString> name;
    ASSERT_EQ(archive->get_Filename(name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), host::FromUtf8(m_file.string()));

    const fs::path elsewhere = m_dir / "elsewhere.log";
    ASSERT_EQ(archive->put_Filename(host::MakeString(host::FromUtf8(elsewhere.string())).Get()), S_OK);
    ASSERT_EQ(Show(log.Get(), L"T", L"moved", LINE_STATUS), S_OK);
    IPtr<IUILineDisplayable> unmoved = NewLog();
    ASSERT_EQ(Show(unmoved.Get(), L"T", L"stayed", LINE_STATUS), S_OK);
    ASSERT_EQ(archive->Save(), S_OK);
    ASSERT_EQ(Save(unmoved.Get()), S_OK);
    EXPECT_NE(ReadFile(elsewhere).find("T: moved [status]"), std::string::npos);
    EXPECT_EQ(ReadFile(elsewhere).find("stayed"), std::string::npos);
    EXPECT_NE(ReadFile(m_file).find("T: stayed [status]"), std::string::npos);

    ASSERT_EQ(archive->put_Filename(nullptr), S_OK); // back to the default
    ASSERT_EQ(archive->get_Filename(name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), host::FromUtf8(m_file.string()));
}

TEST_F(EventLogFile, UnwritableLocationIsAnError) {
    fs::create_directories(m_dir);
    std::ofstream(m_dir / "plain-file") << "x";
    IPtr<IUILineDisplayable> log = NewLog();
    IPtr<IFileArchive> archive = QueryAs<IFileArchive>(log.Get());
    const fs::path impossible = m_dir / "plain-file" / "sub" / "events.log";
    ASSERT_EQ(archive->put_Filename(host::MakeString(host::FromUtf8(impossible.string())).Get()), S_OK);
    EXPECT_EQ(Show(log.Get(), L"T", L"lost", LINE_ERROR), E_FAIL);
    EXPECT_EQ(archive->Save(), S_OK); // nothing was written, nothing to flush
}

TEST_F(EventLogFile, ConcurrentWritersGiveWholeLines) {
    constexpr int kThreads = 6;
    constexpr int kLines = 400;
    const std::string padding(300, 'x'); // longer than any small write unit
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([&, t] {
            IPtr<IUILineDisplayable> log = NewLog(); // separate instances share the writer
            for (int i = 0; i < kLines; ++i)
                Show(log.Get(), L"W" + std::to_wstring(t), std::to_wstring(i) + L" " + host::FromUtf8(padding),
                     LINE_PROGRESS);
            Save(log.Get());
        });
    }
    for (std::thread& w : writers) w.join();

    std::set<std::pair<int, int>> seen;
    int malformed = 0;
    for (const std::string& line : Lines(ReadFile(m_file))) {
        // "W<thread>: <line> <padding> [progress]"
        std::string rest;
        int thread = -1, index = -1, used = 0;
        if (!StripStamp(line, &rest) || std::sscanf(rest.c_str(), "W%d: %d %n", &thread, &index, &used) != 2 ||
            rest.substr(static_cast<size_t>(used)) != padding + " [progress]") {
            ++malformed;
            continue;
        }
        seen.emplace(thread, index);
    }
    EXPECT_EQ(malformed, 0);
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLines));
}
