// "URLFile": the names it reaches (paths, file:// URLs, names under
// "HOSTNAME"), the names it refuses, resuming only the same version of a
// source, the stop flag and the progress it reports.
#include <fcntl.h>

#include "host/transfer/FileScheme.h"
#include "sdk/ScopedHandles.h"
#include "tests/host/transfer/TransferTestSupport.h"

namespace fs = std::filesystem;
using namespace transfertest;

namespace {

class FileSchemeTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(m_dir / "src dir");
        WriteFile(m_source, "file content");
    }
    // Fetches `url` into the work file "work" holding `held`.
    host::FetchResult Fetch(const std::wstring& url, const std::string& held = "", int64_t offset = 0,
                            const std::string& validator = "", const std::atomic<bool>* stop = nullptr) {
        WriteFile(m_dir / "work", held);
        ScopedFD work(::open((m_dir / "work").c_str(), O_RDWR | O_CLOEXEC));
        return m_fetch->Fetch({.url = url, .fd = work.Get(), .offset = offset, .validator = validator, .stop = stop,
                               .link = kLinkMark, .versionKnown = nullptr});
    }
    void SetHostName(const std::wstring& value) {
        IPtr<IParametersCreatable> parameters = NewParameters();
        ASSERT_EQ(parameters->Add(Str(L"HOSTNAME").Get(), Text(value).Get(), nullptr, 0), S_OK);
        ASSERT_EQ(m_scheme->put_Parameters(parameters.Get()), S_OK);
    }

    TempDir m_tmp;
    const fs::path m_dir = m_tmp.Path();
    const fs::path m_source = m_dir / "src dir" / "a b%\xC3\xA9.txt";
    const std::wstring m_escapedDir = L"file://" + host::FromUtf8(m_dir.string()) + L"/src%20dir";
    IPtr<IFileArchiveScheme> m_scheme = Make<IFileArchiveScheme>(L"URLFile");
    IPtr<host::IFetchScheme> m_fetch = m_scheme.Query<host::IFetchScheme>();
};

} // namespace

TEST_F(FileSchemeTest, PathsUrlsAndNamesUnderTheHostNameReachTheFile) {
    const std::wstring dir = host::FromUtf8(m_dir.string());
    struct Case {
        std::wstring hostName;
        std::wstring name;
    } cases[] = {
        {L"", host::FromUtf8(m_source.string())},
        {L"", m_escapedDir + L"/a%20b%25%C3%A9.txt"},
        {L"", L"FILE://LocalHost" + dir + L"/src%20dir/a%20b%25%c3%a9.txt"},
        {dir + L"/src dir", L"a b%\u00E9.txt"},
        {m_escapedDir + L"/", L"a b%\u00E9.txt"},
    };
    for (const Case& c : cases) {
        SetHostName(c.hostName);
        fs::remove(m_dir / "got");
        IPtr<IURLLink> link = NewLink(m_scheme.Get(), c.name, (m_dir / "got").string());
        EXPECT_EQ(link->Start(0, 0, 0), S_OK) << LastError(link.Get()).text;
        EXPECT_EQ(ReadFile(m_dir / "got"), "file content") << host::ToUtf8(c.name);
    }
}

TEST_F(FileSchemeTest, RefusedNamesSayWhy) {
    const std::string dir = m_dir.string();
    const std::wstring wideDir = host::FromUtf8(dir);
    struct Case {
        std::wstring name;
        std::string text;
    } cases[] = {
        {L"file://elsewhere" + wideDir, "file URL of another host refused: file://elsewhere" + dir},
        {wideDir + L"/missing", "no such file: " + dir + "/missing"},
        {L"file://" + wideDir + L"/a%2", "bad escape in the file URL file://" + dir + "/a%2"},
        {L"file://" + wideDir + L"/a%00b", "bad escape in the file URL file://" + dir + "/a%00b"},
        {wideDir, "not a regular file: " + dir},
    };
    for (const Case& c : cases) {
        const host::FetchResult result = Fetch(c.name, "kept");
        EXPECT_EQ(result.error.status, E_FAIL);
        EXPECT_EQ(host::ToUtf8(result.error.text), c.text);
        EXPECT_FALSE(result.complete);
        EXPECT_EQ(ReadFile(m_dir / "work"), "kept") << "nothing written for " << c.text;
    }
}

TEST_F(FileSchemeTest, ResumesOnlyTheSameVersion) {
    const std::wstring name = host::FromUtf8(m_source.string());
    const host::FetchResult whole = Fetch(name);
    ASSERT_TRUE(whole.complete);
    ASSERT_FALSE(whole.validator.empty());

    EXPECT_TRUE(Fetch(name, "FIL", 3, whole.validator).complete);
    EXPECT_EQ(ReadFile(m_dir / "work"), "FILe content") << "the first three bytes were kept";
    EXPECT_TRUE(Fetch(name, "FIL", 3, "12-0").complete);
    EXPECT_EQ(ReadFile(m_dir / "work"), "file content") << "another version starts over";

    WriteFile(m_source, "file content, longer now");
    const host::FetchResult changed = Fetch(name, "FIL", 3, whole.validator);
    EXPECT_EQ(ReadFile(m_dir / "work"), "file content, longer now") << "a changed source starts over";
    EXPECT_NE(changed.validator, whole.validator);
}

TEST_F(FileSchemeTest, LargeCopyReportsProgressAndStopsOnTheFlag) {
    const std::string large = Pattern(3 * host::FileScheme::kChunk + 5);
    WriteFile(m_source, large);
    IPtr<ProgressProbe> probe = ProgressProbe::Make();
    IPtr<IEventSource> events = m_scheme.Query<IEventSource>();
    ASSERT_EQ(events->Advise(probe.Get(), 1), S_OK);

    const std::atomic<bool> stop{true};
    const host::FetchResult stopped = Fetch(host::FromUtf8(m_source.string()), "", 0, "", &stop);
    EXPECT_EQ(stopped.error.status, E_ABORT);
    EXPECT_FALSE(stopped.complete);
    EXPECT_EQ(probe->Calls(), 0);

    const host::FetchResult result = Fetch(host::FromUtf8(m_source.string()));
    ASSERT_TRUE(result.complete) << host::ToUtf8(result.error.text);
    EXPECT_TRUE(ReadFile(m_dir / "work") == large);
    const int32_t size = static_cast<int32_t>(large.size());
    EXPECT_GE(probe->Calls(), 1);
    EXPECT_EQ(probe->Last(), ProgressProbe::Report(static_cast<IUnknown*>(m_scheme.Get()), size, size, kLinkMark));
    ASSERT_EQ(events->Advise(probe.Get(), 0), S_OK);
}
