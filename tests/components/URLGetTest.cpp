// The URL retrieval step against recording fakes of the host's transfer
// components: what the link is told (and in which order), what the scheme
// is given, the progress lines, and what happens to the fetched file.
#include "components/URLGet.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <thread>

#include "ConvertHost.h"
#include "sdk/HostUtilities.h"
#include "support/TempFolder.h"

namespace {

std::string Narrow(std::wstring_view text) { return std::string(text.begin(), text.end()); }
std::string Narrow(IUnknown* text) { return Narrow(TextOf(text)); }
std::string Narrow(const tagREFString& text) {
    return Narrow(std::wstring_view(text.m_pString, static_cast<size_t>(text.m_Length)));
}

// What the fakes saw, in order, as text. Written on the worker, read after
// the step reports it no longer runs.
using Journal = std::vector<std::string>;

// A line display: "<tag> <kind> <title>|<text>".
struct FakeDisplay final : IUILineDisplayable {
    FakeDisplay(Journal& j, const char* t) : journal(j), tag(t) {}
    CONVERT_NOT_COUNTED(IUILineDisplayable)
    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override {
        char hex[16];
        std::snprintf(hex, sizeof hex, "%08x", kind);
        journal.push_back(tag + " " + hex + " " + Narrow(title) + "|" + Narrow(text));
        return S_OK;
    }
    Journal& journal;
    std::string tag;
};

// One object answering "URLhttp" (scheme and event source), "URLLink" (link
// and step), "OSUtils", "UIUtils" and "ActiveWorkspace". The link runs for
// three polls and reports `progress` to the advised listener on the first.
struct FakeServices final : IFileArchiveScheme, IEventSource, IURLLink, IStep, IOSUtils, IUIUtils,
                            IUIRefreshableObject {
    explicit FakeServices(Journal& j) : journal(j) {}
    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IFileArchiveScheme) *out = static_cast<IFileArchiveScheme*>(this);
        if (iid == IID_IEventSource) *out = static_cast<IEventSource*>(this);
        if (iid == IID_IURLLink) *out = static_cast<IURLLink*>(this);
        if (iid == IID_IStep) *out = static_cast<IStep*>(this);
        if (iid == IID_IOSUtils) *out = static_cast<IOSUtils*>(this);
        if (iid == IID_IUIUtils) *out = static_cast<IUIUtils*>(this);
        if (iid == IID_IUIRefreshableObject) *out = static_cast<IUIRefreshableObject*>(this);
        return *out ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    IUnknown* Unknown() { return static_cast<IFileArchiveScheme*>(this); }
    void Add(std::string entry) { journal.push_back(std::move(entry)); }

    HRESULT Transfer(IString*, IDataStream*) override { return E_NOTIMPL; }
    HRESULT Delete(IString*) override { return E_NOTIMPL; }
    HRESULT CreateSchemeFile(IUnknown*, IString*, int32_t*) override { return E_NOTIMPL; }
    HRESULT put_Parameters(IParameters* parameters) override {
        int32_t count = 0;
        parameters->get_Count(&count);
        for (int32_t i = 0; i < count; ++i) {
            IPtr<IString> name;
            IPtr<IVariant> value;
            int32_t flags = 0, number = 0;
            parameters->Iterate(i, name.Out(), value.Out(), nullptr, &flags);
            if (value) value->get_Integer(&number);
            Add("setting " + Narrow(name.Get()) + "=" + std::to_string(number) + " flags " + std::to_string(flags));
        }
        return S_OK;
    }
    HRESULT Advise(IUnknown* who, int32_t on) override {
        Add("Advise " + std::to_string(on));
        listener = on ? QueryAs<_IUIProgressEvent>(who) : IPtr<_IUIProgressEvent>();
        return S_OK;
    }
    HRESULT put_URL(IString* url) override { return Add("put_URL " + Narrow(url)), S_OK; }
    HRESULT put_LocalFile(IString* path) override { return Add("put_LocalFile " + Narrow(path)), S_OK; }
    HRESULT put_Scheme(IUnknown* s) override {
        return Add(QueryAs<IUnknown>(s).Get() == Unknown() ? "put_Scheme URLhttp" : "put_Scheme other"), S_OK;
    }
    HRESULT Start(int32_t a, int32_t b, int32_t c) override {
        Add("Start " + std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(c));
        polls = 0;
        return S_OK;
    }
    HRESULT get_LastError(HRESULT*, int32_t*, int32_t*, IString**) override { return E_NOTIMPL; }
    HRESULT TurnOn() override { return E_NOTIMPL; }
    HRESULT TurnOff() override { return E_NOTIMPL; }
    bool IsRunning() override {
        if (polls++ == 0 && listener)
            for (auto [received, total] : progress) listener->Progress(Unknown(), received, total, nullptr);
        return polls <= 3;
    }
    HRESULT get_ExecutionTime(double*) override { return E_NOTIMPL; }
    HRESULT Run(IString* line) override { return Add("Run " + Narrow(line)), S_OK; }
    HRESULT OpenFileObject(tagREFString path, IUnknown* parent, tagREFString text, IUnknown** result,
                           int32_t flags) override {
        Add("OpenFileObject " + Narrow(path) + (parent ? " parent" : "") + " text " + std::to_string(text.m_Length) +
            " flags " + std::to_string(flags));
        *result = file.Get();
        file->AddRef();
        return S_OK;
    }
    HRESULT Refresh(int32_t what) override { return Add("Refresh " + std::to_string(what)), S_OK; }

    Journal& journal;
    IPtr<_IUIProgressEvent> listener;
    std::vector<std::pair<int32_t, int32_t>> progress;
    int polls = 0;
    IPtr<IString> file = IPtr<IString>::Adopt(ISCreate(L"fetched file"));
};

class URLGetTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const char* old = std::getenv("SHADOW_REGISTRY")) oldRegistry = old;
        std::ofstream(folder / "registry.ini") << "[Workspace]\nInstallPath=" << install << "\n";
        ::setenv("SHADOW_REGISTRY", (folder / "registry.ini").c_str(), 1);
        std::filesystem::create_directory(install);
        host.Answer(L"MessageWindow", &window);
        host.Answer(L"EventLogGlobal", &eventLog);
        for (const wchar_t* name : {L"URLhttp", L"URLLink", L"OSUtils", L"UIUtils", L"ActiveWorkspace"})
            host.Answer(name, services.Unknown());
        step = CreateRegistered(L"URLGet");
        ASSERT_TRUE(step);
        SetText(CURLGet::kCacheLocation, cache);
    }
    void TearDown() override {
        if (oldRegistry) ::setenv("SHADOW_REGISTRY", oldRegistry->c_str(), 1);
        else ::unsetenv("SHADOW_REGISTRY");
    }
    void SetText(int32_t index, const std::string& text) {
        step->put_Item(index, IPtr<IString>::Adopt(ISCreate(text.c_str(), static_cast<int>(text.size()))).Get());
    }
    void SetNumber(int32_t index, int value) { step->put_Item(index, IPtr<IVariant>::Adopt(IVCreate(value)).Get()); }
    IPtr<IUnknown> FileObject() {
        IPtr<IUnknown> value;
        step->get_Item(CURLGet::kFileObject, value.Out());
        return value;
    }
    // "FileObject" as a number; -1 when it holds none.
    int32_t FileNumber() {
        IPtr<IVariant> value = FileObject().Query<IVariant>();
        int32_t number = -1;
        if (value && value->IsNumber()) value->get_Integer(&number);
        return number;
    }
    // Runs the step to its end and hands over what the fakes saw.
    Journal Run() {
        IPtr<IStep> run = step.Query<IStep>();
        EXPECT_EQ(S_OK, run->TurnOn());
        for (int i = 0; i < 3000 && run->IsRunning(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_FALSE(run->IsRunning());
        return std::exchange(journal, {});
    }
    // The entries of `all` that start with one of `prefixes`.
    static Journal Only(const Journal& all, std::initializer_list<std::string_view> prefixes) {
        Journal some;
        std::copy_if(all.begin(), all.end(), std::back_inserter(some), [&](const std::string& entry) {
            return std::ranges::any_of(prefixes, [&](std::string_view prefix) { return entry.starts_with(prefix); });
        });
        return some;
    }

    std::optional<std::string> oldRegistry;
    testsupport::TempFolder folder{"shadow-urlget"};
    const std::string install = folder / "install";
    const std::string cache = folder / "cache";
    Journal journal;
    // The console is bound in the step's inputs, which outlive a test body.
    FakeDisplay window{journal, "window"}, eventLog{journal, "log"}, console{journal, "console"};
    FakeServices services{journal};
    RoutingCollection host;
    IPtr<IParameters> step;
};

TEST_F(URLGetTest, BuildsTheURLAndTheLocalPathAndDrivesSchemeAndLinkInOrder) {
    const std::string base = Narrow(gDefaultURL), defaultCache = install + "/wwwExchange";
    struct Case {
        std::string url, cacheLocation, fullURL, localPath;
    } const cases[] = {
        {"readme.txt", "", base + "readme.txt", defaultCache + "/readme.txt"},
        {"\xc3\xbe\xc3\xaf\t demo\x7f\xc3\xbf ", "  ", base + "demo.xWS", defaultCache + "/demo.xWS"},
        {"HTTP://a/b/c.bin", " " + cache + " ", "HTTP://a/b/c.bin", cache + "/c.bin"},
        {"https://a/b", cache, base + "https://a/b.xWS", cache + "/b.xWS"},
        {"htt", cache, "htt", cache + "/htt"},
    };
    SetNumber(CURLGet::kCreateRun, 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url + " in '" + c.cacheLocation + "'");
        std::filesystem::remove_all(defaultCache);
        std::filesystem::remove_all(cache);
        SetText(CURLGet::kURL, c.url);
        SetText(CURLGet::kCacheLocation, c.cacheLocation);
        const Journal seen = Run();
        const std::string name = c.localPath.substr(c.localPath.rfind('/') + 1);
        const Journal expected = {
            "window 10000000 URLGet|" + c.url,
            "window 10000000 URLGet|" + name,
            "Advise 1",
            "setting TIMEOUT1=5000 flags 3",
            "setting TIMEOUTSUBSEQUENT=5000 flags 3",
            "put_Scheme URLhttp",
            "put_LocalFile " + c.localPath,
            "put_URL " + c.fullURL,
            "Start 0 0 1",
            "Advise 0",
            "OpenFileObject " + c.localPath + " text 0 flags 1",
        };
        // The first line shows the URL as typed, wide characters and all.
        EXPECT_EQ(Journal(seen.begin() + 1, seen.end()), Journal(expected.begin() + 1, expected.end()));
        EXPECT_TRUE(std::filesystem::is_directory(std::filesystem::path(c.localPath).parent_path()));
    }
}

TEST_F(URLGetTest, RunsAWorkspaceOrHandsTheFileOver) {
    struct Case {
        int createRun;
        std::string url, arg, run; // run: the command line, or empty for none
    } const cases[] = {
        {1, "x.xWS", "", cache + "/x.xWS"},
        {1, "x.xWS", "  -v", cache + "/x.xWS -v"},
        {1, "x.xWS", "b.txt", ""},                           // the argument's "." decides
        {1, "x.zip", "a.xWSfile", cache + "/x.zip a.xWSfile"}, // so does this one
        {1, "x.xws", "", ""},                                 // case matters
        {0, "x.xWS", "", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url + " '" + c.arg + "' CreateRun " + std::to_string(c.createRun));
        SetText(CURLGet::kURL, c.url);
        SetText(CURLGet::kArg, c.arg);
        SetNumber(CURLGet::kCreateRun, c.createRun);
        SetNumber(CURLGet::kFileObject, 7);
        const Journal seen = Run();
        EXPECT_EQ(Only(seen, {"Run "}), c.run.empty() ? Journal{} : Journal{"Run " + c.run});
        EXPECT_EQ(Only(seen, {"OpenFileObject"}).size(), c.createRun ? 0u : 1u);
        if (c.createRun) EXPECT_EQ(FileNumber(), 0);
        else EXPECT_EQ(QueryAs<IUnknown>(FileObject().Get()).Get(), QueryAs<IUnknown>(services.file.Get()).Get());
    }
}

TEST_F(URLGetTest, ProgressLinesEachFollowedByARefresh) {
    services.progress = {{2560, 5120}, {2560, 5121}, {2560, 0}, {5000000, 10000000}};
    SetText(CURLGet::kURL, "http://user:secret@h/f.bin");
    const Journal expected = {
        "window 10000000 URLGet|http://h/f.bin", // no credentials in a line
        "window 10000000 URLGet|f.bin",
        "window 70000000 URLGet|Downloading 50.0%",
        "Refresh 1",
        "window 70000000 URLGet|Downloading (5 K) 50.0%",
        "Refresh 1",
        "window 70000000 URLGet|Downloading  2560",
        "Refresh 1",
        "window 70000000 URLGet|Downloading (9 Meg) 50.0%",
        "Refresh 1",
    };
    EXPECT_EQ(Only(Run(), {"window", "Refresh"}), expected);
    // The display is let go at the end of the run: later progress shows nothing.
    EXPECT_EQ(step.Query<_IUIProgressEvent>()->Progress(nullptr, 1, 2, nullptr), S_OK);
    EXPECT_TRUE(journal.empty());
}

TEST_F(URLGetTest, ABoundDisplayTakesTheLinesAndTheMessageWindowStaysUnused) {
    BindDisplay(step.Get(), &console);
    SetText(CURLGet::kURL, "http://h/f.bin");
    EXPECT_EQ(Only(Run(), {"window", "console"}), Journal{"console 10000000 URLGet|f.bin"});
}

TEST_F(URLGetTest, AMissingSchemeOrLinkEndsTheRunWithAnErrorLine) {
    SetText(CURLGet::kURL, "x.xWS");
    struct Case {
        const wchar_t* missing;
        Journal expected;
    } const cases[] = {
        {L"URLhttp", {"window 80000000 URLGet|Cannot create URLhttp", "log 80000000 URLGet|Cannot create URLhttp"}},
        {L"URLLink",
         {"Advise 1", "setting TIMEOUT1=5000 flags 3", "setting TIMEOUTSUBSEQUENT=5000 flags 3",
          "window 80000000 URLGet|Cannot create URLLink", "log 80000000 URLGet|Cannot create URLLink", "Advise 0"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Narrow(std::wstring_view(c.missing)));
        host.Answer(L"URLhttp", services.Unknown());
        host.Answer(L"URLLink", services.Unknown());
        host.Answer(c.missing, nullptr);
        SetNumber(CURLGet::kFileObject, 7);
        const Journal seen = Run();
        EXPECT_EQ(Journal(seen.begin() + 2, seen.end()), c.expected);
        EXPECT_EQ(FileNumber(), 7);
    }
}

} // namespace
