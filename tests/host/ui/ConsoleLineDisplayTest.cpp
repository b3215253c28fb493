#include <cstdio>
#include <thread>

#include "host/base/ComponentRegistry.h"
#include "host/ui/ConsoleLineDisplay.h"
#include "host/ui/ConsoleText.h"
#include "support/HostTestSupport.h"

namespace {

constexpr uint32_t kProgress = LINE_PROGRESS;
constexpr uint32_t kStatus = LINE_STATUS;
constexpr uint32_t kError = LINE_ERROR;
constexpr uint32_t kUploadError = LINE_UPLOAD_ERROR;

// An anonymous temporary file standing in for the console.
class Capture final {
public:
    Capture() : m_file(std::tmpfile()) {}
    ~Capture() { std::fclose(m_file); }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    FILE* File() const { return m_file; }
    std::string Text() const {
        std::fflush(m_file);
        std::string text;
        std::rewind(m_file);
        char buffer[4096];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, m_file)) > 0) text.append(buffer, n);
        std::fseek(m_file, 0, SEEK_END);
        return text;
    }

private:
    FILE* m_file;
};

void Show(IUILineDisplayable* display, const wchar_t* title, const wchar_t* text, uint32_t kind) {
    IPtr<IString> t, x;
    if (title) t = host::MakeString(title);
    if (text) x = host::MakeString(text);
    ASSERT_EQ(display->DisplayLine(t.Get(), x.Get(), kind), S_OK);
}

host::ConsoleOptions LiveOptions(FILE* out, int width) {
    host::ConsoleOptions options;
    options.out = out;
    options.mode = host::ConsoleMode::Live;
    options.width = width;
    options.refresh = std::chrono::milliseconds(0);
    options.resultTitles = {L"Shadow"};
    return options;
}

TEST(ConsoleLineDisplay, VerboseWritesEveryLineWithErrorMarkers) {
    struct Case {
        const wchar_t* title;
        const wchar_t* text;
        uint32_t kind;
        std::string expected;
    };
    const Case cases[] = {
        {L"Shadow(Copy)", L"Scanning: /src", kProgress, "Shadow(Copy): Scanning: /src\n"},
        {L"Shadow(Copy)", L"Copying: /src/a", kStatus, "Shadow(Copy): Copying: /src/a\n"},
        {L"Shadow(Copy)", L"Connection Aborted (Copy)", kError, "error: Shadow(Copy): Connection Aborted (Copy)\n"},
        {L"Upload", L"failed: x", kUploadError, "error: Upload: failed: x\n"},
        {nullptr, L"no title", kStatus, "no title\n"},
        {L"T", L"line\nbreak\x1b[1m", kStatus, "T: line?break?[1m\n"},
        {L"T", L"caf\u00e9 \u65e5", kStatus, "T: caf\xc3\xa9 \xe6\x97\xa5\n"},
        {L"T", L"raw\xDCFF", kStatus, "T: raw\xff\n"}, // an undecodable file name byte
    };
    for (const Case& c : cases) {
        Capture out;
        host::ConsoleOptions options;
        options.out = out.File();
        IPtr<host::ConsoleLineDisplay> display = host::CreateConsoleLineDisplay(options);
        Show(display.Get(), c.title, c.text, c.kind);
        display->Finish(); // nothing to finish in verbose mode
        display.Release();
        EXPECT_EQ(out.Text(), c.expected);
    }
}

TEST(ConsoleLineDisplay, LiveLineIsOverwrittenAndKeepsErrorsAndResults) {
    Capture out;
    IPtr<host::ConsoleLineDisplay> display = host::CreateConsoleLineDisplay(LiveOptions(out.File(), 60));
    ASSERT_EQ(display->Mode(), host::ConsoleMode::Live);
    std::string expected;

    Show(display.Get(), L"Shadow(Copy)", L"Scanning: /src", kProgress);
    expected += "\r[0] Shadow(Copy): Scanning: /src\x1b[K";
    EXPECT_EQ(out.Text(), expected);

    Show(display.Get(), L"Shadow(Copy)", L"Copying: /src/a", kStatus);
    expected += "\r[1] Shadow(Copy): Copying: /src/a\x1b[K";
    EXPECT_EQ(out.Text(), expected);

    Show(display.Get(), L"Shadow(Copy)", L"Connection Aborted (Copy)", kError);
    expected += "\r\x1b[K" "error: Shadow(Copy): Connection Aborted (Copy)\n"
                "\r[1] Shadow(Copy): Copying: /src/a\x1b[K";
    EXPECT_EQ(out.Text(), expected);

    Show(display.Get(), L"Shadow", L"Copied  1 Files", kStatus);
    expected += "\r\x1b[K" "Copied  1 Files\n" "\r[1] Shadow(Copy): Copying: /src/a\x1b[K";
    EXPECT_EQ(out.Text(), expected);
    EXPECT_EQ(display->Count(), 1);

    display->Finish();
    expected += "\r\x1b[K";
    EXPECT_EQ(out.Text(), expected);
    EXPECT_EQ(display->Count(), 0);

    // After the finish a result line stands alone; no status line comes back.
    Show(display.Get(), L"Shadow", L"Deleted 0 Files", kStatus);
    expected += "Deleted 0 Files\n";
    display->Finish();
    EXPECT_EQ(out.Text(), expected);
}

TEST(ConsoleLineDisplay, LiveLineFitsTheWidth) {
    Capture out;
    IPtr<host::ConsoleLineDisplay> display = host::CreateConsoleLineDisplay(LiveOptions(out.File(), 30));
    Show(display.Get(), L"Shadow(Copy)", L"Copying: /a/very/long/source/path/to/some-file.txt", kStatus);
    const std::string text = out.Text();
    ASSERT_EQ(text.substr(0, 1), "\r");
    ASSERT_EQ(text.substr(text.size() - 3), "\x1b[K");
    const std::string shown = text.substr(1, text.size() - 4);
    EXPECT_EQ(shown.size(), 29u); // one column stays free
    EXPECT_EQ(shown.substr(0, 4), "[1] ");
    EXPECT_NE(shown.find("..."), std::string::npos);
    EXPECT_EQ(shown.substr(shown.size() - 13), "some-file.txt");
}

TEST(ConsoleLineDisplay, LiveRedrawsAreThrottledButNothingIsLost) {
    Capture out;
    host::ConsoleOptions options = LiveOptions(out.File(), 60);
    options.refresh = std::chrono::hours(1);
    IPtr<host::ConsoleLineDisplay> display = host::CreateConsoleLineDisplay(options);
    Show(display.Get(), L"T", L"a", kStatus);
    Show(display.Get(), L"T", L"b", kStatus);
    Show(display.Get(), L"T", L"c", kStatus);
    EXPECT_EQ(out.Text(), "\r[1] T: a\x1b[K");
    // A line of its own brings the status line up to date.
    Show(display.Get(), L"T", L"e", kError);
    EXPECT_EQ(out.Text(), "\r[1] T: a\x1b[K" "\r\x1b[K" "error: T: e\n" "\r[3] T: c\x1b[K");
    EXPECT_EQ(display->Count(), 3);
}

TEST(ConsoleLineDisplay, LinesFromManyThreadsStayWhole) {
    constexpr int kThreads = 4, kLines = 300;
    for (host::ConsoleMode mode : {host::ConsoleMode::Verbose, host::ConsoleMode::Live}) {
        Capture out;
        host::ConsoleOptions options = LiveOptions(out.File(), 80);
        options.mode = mode;
        IPtr<host::ConsoleLineDisplay> display = host::CreateConsoleLineDisplay(options);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&display, t] {
                std::wstring title = L"worker" + std::to_wstring(t);
                for (int i = 0; i < kLines; ++i)
                    Show(display.Get(), title.c_str(), (L"line " + std::to_wstring(i)).c_str(), kStatus);
            });
        for (std::thread& t : threads) t.join();
        if (mode == host::ConsoleMode::Live) {
            EXPECT_EQ(display->Count(), kThreads * kLines);
            continue;
        }
        std::istringstream lines(out.Text());
        std::vector<int> next(kThreads, 0);
        std::string line;
        int total = 0;
        while (std::getline(lines, line)) {
            ++total;
            int t = -1, i = -1;
            ASSERT_EQ(std::sscanf(line.c_str(), "worker%d: line %d", &t, &i), 2) << line;
            ASSERT_TRUE(t >= 0 && t < kThreads) << line;
            EXPECT_EQ(i, next[t]++) << line; // each thread's lines in its order
        }
        EXPECT_EQ(total, kThreads * kLines);
    }
}

// The settings a host program reaches through the component's IRegistry face.
class ConsoleSettingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::HostCreator create = host::FindHostComponent(REFLiteral(L"ConsoleLineDisplay"));
        ASSERT_NE(create, nullptr);
        ASSERT_EQ(create(&IID_IUILineDisplayable, display.OutVoid()), S_OK);
        settings = display.Query<IRegistry>();
        ASSERT_TRUE(settings);
    }
    HRESULT Set(const wchar_t* key, const wchar_t* value, const wchar_t* section = L"ConsoleLineDisplay") {
        return settings->SetValue(REFLiteral(section), REFLiteral(key), REFLiteral(value));
    }
    std::wstring Get(const wchar_t* key, int32_t capacity = 64) {
        std::vector<wchar_t> buffer(static_cast<size_t>(capacity), L'#');
        if (FAILED(settings->GetValue(REFLiteral(L""), REFLiteral(key), buffer.data(), capacity))) return L"<failed>";
        return buffer.data();
    }
    std::string LogText() const { return hosttest::ReadFile(folder + "/log.txt"); }

    hosttest::TempDir tmp;
    const std::string folder = tmp.Root();
    IPtr<IUILineDisplayable> display;
    IPtr<IRegistry> settings;
};

TEST_F(ConsoleSettingsTest, DefaultsAndRefusedValues) {
    struct Case {
        const wchar_t* key;
        const wchar_t* value;
    };
    const Case defaults[] = {{L"Output", L"stderr"}, {L"Mode", L"verbose"}, {L"Width", L"0"},
                             {L"Refresh", L"50"},    {L"ResultTitles", L""}};
    for (const Case& c : defaults) EXPECT_EQ(Get(c.key), c.value) << c.key;

    const Case refused[] = {{L"Mode", L"fancy"}, {L"Width", L"-1"}, {L"Width", L"12a"}, {L"Width", L""},
                            {L"Refresh", L"99999999"}, {L"Output", L""}};
    for (const Case& c : refused) EXPECT_EQ(Set(c.key, c.value), E_INVALIDARG) << c.key << "=" << c.value;
    EXPECT_EQ(Set(L"Colour", L"red"), E_FAIL);
    EXPECT_EQ(Set(L"Mode", L"live", L"OtherSection"), E_FAIL);
    EXPECT_EQ(Get(L"Colour"), L"<failed>");
    for (const Case& c : defaults) EXPECT_EQ(Get(c.key), c.value) << c.key; // nothing changed
    EXPECT_EQ(Get(L"Mode", 3), L"ve");                                      // cut to the buffer
}

TEST_F(ConsoleSettingsTest, OutputModeAndResultTitlesDriveTheDisplay) {
    const std::wstring log = std::filesystem::path(folder + "/log.txt").wstring();
    ASSERT_EQ(Set(L"Output", log.c_str()), S_OK);
    EXPECT_EQ(Get(L"Output", 4096), log);
    Show(display.Get(), L"T", L"verbose line", kStatus);
    EXPECT_EQ(LogText(), "T: verbose line\n");

    // An output that cannot be opened is refused and the old one stays.
    EXPECT_EQ(Set(L"Output", (std::filesystem::path(folder) / "no/such/folder/x").wstring().c_str()), E_FAIL);
    Show(display.Get(), L"T", L"still here", kStatus);
    EXPECT_EQ(LogText(), "T: verbose line\nT: still here\n");

    ASSERT_EQ(Set(L"Mode", L"live"), S_OK);
    ASSERT_EQ(Set(L"Width", L"40"), S_OK);
    ASSERT_EQ(Set(L"Refresh", L"0"), S_OK);
    ASSERT_EQ(Set(L"ResultTitles", L"Shadow|Summary"), S_OK);
    EXPECT_EQ(Get(L"ResultTitles"), L"Shadow|Summary");
    Show(display.Get(), L"Shadow(Del)", L"Deleting: /d/x", kStatus);
    Show(display.Get(), L"Summary", L"Deleted 1 Files", kStatus);
    IPtr<IUIRefreshableObject> refresh = display.Query<IUIRefreshableObject>();
    ASSERT_TRUE(refresh);
    EXPECT_EQ(refresh->Refresh(1), E_INVALIDARG);
    EXPECT_EQ(refresh->Refresh(0), S_OK);
    EXPECT_EQ(LogText(), "T: verbose line\nT: still here\n"
                         "\r[1] Shadow(Del): Deleting: /d/x\x1b[K"
                         "\r\x1b[K" "Deleted 1 Files\n" "\r[1] Shadow(Del): Deleting: /d/x\x1b[K"
                         "\r\x1b[K");

    // "auto" picks verbose for a file; DeleteValue restores the defaults.
    ASSERT_EQ(Set(L"Mode", L"auto"), S_OK);
    EXPECT_EQ(Get(L"Mode"), L"auto");
    Show(display.Get(), L"Shadow(Del)", L"Deleting: /d/y", kStatus);
    EXPECT_EQ(settings->DeleteValue(REFLiteral(L""), REFLiteral(L"ResultTitles")), S_OK);
    EXPECT_EQ(settings->DeleteValue(REFLiteral(L""), REFLiteral(L"Mode")), S_OK);
    EXPECT_EQ(settings->DeleteValue(REFLiteral(L""), REFLiteral(L"Colour")), E_FAIL);
    EXPECT_EQ(Get(L"Mode"), L"verbose");
    EXPECT_EQ(Get(L"ResultTitles"), L"");
    const std::string last = "\r\x1b[KShadow(Del): Deleting: /d/y\n";
    const std::string text = LogText();
    ASSERT_GE(text.size(), last.size());
    EXPECT_EQ(text.substr(text.size() - last.size()), last);
}

TEST(ConsoleText, ColumnsOfCharacters) {
    struct Case {
        wchar_t c;
        int columns;
    };
    const Case cases[] = {
        {L'a', 1},       {L'\u00e9', 1},  {L'\u0301', 0}, // combining acute accent
        {L'\u200b', 0},  {L'\u65e5', 2},  {L'\uac00', 2}, // CJK, Hangul
        {L'\uff21', 2},  {L'\uff61', 1},                  // full-width A, half-width stop
        {L'\U0001F600', 2}, {L'\u0416', 1},
    };
    for (const Case& c : cases) EXPECT_EQ(host::CharColumns(c.c), c.columns) << unsigned(c.c);
    EXPECT_EQ(host::TextColumns(L"e\u0301\u65e5x"), 4);
}

TEST(ConsoleText, ControlCharactersAreMasked) {
    EXPECT_EQ(host::SanitizeLine(L"a\nb\rc\x1b[2Jd\x7f\x85\te"), L"a?b?c?[2Jd???e");
    EXPECT_EQ(host::SanitizeLine(L"caf\u00e9 \u65e5"), L"caf\u00e9 \u65e5");
}

TEST(ConsoleText, ShortensKeepingStartAndEnd) {
    struct Case {
        const wchar_t* text;
        int columns;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {L"short", 10, L"short"},
        {L"exactly10!", 10, L"exactly10!"},
        {L"Copying: /source/folder/file.txt", 16, L"Copy.../file.txt"},
        {L"0123456789abcdef", 10, L"01...bcdef"},
        {L"0123456789", 3, L"012"},
        {L"0123456789", 0, L""},
        // Wide characters count twice, and a wide character that does not fit
        // the head leaves its room to the tail.
        {L"\u65e5\u65e5\u65e5\u65e5\u65e5\u65e5", 8, L"...\u65e5\u65e5"},
        {L"ab\u65e5cdefghij", 9, L"ab...ghij"},
    };
    for (const Case& c : cases) {
        std::wstring out = host::ShortenToColumns(c.text, c.columns);
        EXPECT_EQ(out, c.expected) << c.text << " in " << c.columns;
        EXPECT_LE(host::TextColumns(out), c.columns) << c.text;
    }
}

} // namespace
