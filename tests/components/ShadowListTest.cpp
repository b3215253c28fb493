// The shadow list step: locations turned into schemes, the run and the verbs
// handed to a recording update service, and a host without the service.
#include "components/ShadowList.h"

#include "ConvertHost.h"

namespace {

using Journal = std::vector<std::wstring>;

// A scheme component that records the settings it is given. Not counted.
struct FakeScheme final : IFileArchiveScheme {
    FakeScheme(const wchar_t* n, Journal& j) : name(n), journal(j) {}
    const wchar_t* name;
    Journal& journal;
    CONVERT_NOT_COUNTED(IFileArchiveScheme)
    HRESULT put_Parameters(IParameters* settings) override {
        IPtr<IString> setting;
        IPtr<IVariant> value;
        int32_t flags = 0;
        for (int32_t i = 0; SUCCEEDED(settings->Iterate(i, setting.Out(), value.Out(), nullptr, &flags)); ++i)
            journal.push_back(std::wstring(name) + L" " + TextOf(setting.Get()) + L"=" +
                              TextOf(IPtr<IString>::Adopt(ISCreate(value.Get())).Get()) + L" " +
                              std::to_wstring(flags));
        return S_OK;
    }
    HRESULT Transfer(IString*, IDataStream*) override { return E_NOTIMPL; }
    HRESULT Delete(IString*) override { return E_NOTIMPL; }
};

struct RecordingDisplay final : IUILineDisplayable {
    Journal lines;
    CONVERT_NOT_COUNTED(IUILineDisplayable)
    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override {
        lines.push_back(TextOf(title) + L": " + TextOf(text) + L" " + std::to_wstring(kind >> 28));
        return S_OK;
    }
};

// The services the step calls, recording each call with the schemes and
// display it was given by name. Not counted.
class RecordingServices final : public IFASService, public IUIUtils {
public:
    Journal calls;
    HRESULT running = S_FALSE;
    const FakeScheme* http = nullptr;
    const FakeScheme* file = nullptr;
    const IUILineDisplayable* display = nullptr;

    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IFASService) *out = static_cast<IFASService*>(this);
        else if (iid == IID_IUIUtils) *out = static_cast<IUIUtils*>(this);
        return *out ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }

    HRESULT Transfer(IFileArchiveScheme* server, IFileArchiveScheme* client, int32_t mode) override {
        return Add(L"Transfer " + Of(server) + L" " + Of(client) + L" " + std::to_wstring(mode));
    }
    HRESULT Commit(IFileArchiveScheme* client, IFileArchiveScheme* server) override {
        return Add(L"Commit " + Of(client) + L" " + Of(server));
    }
    HRESULT put_SchemeFile(IString* name) override { return Add(L"SchemeFile " + TextOf(name)); }
    HRESULT put_LineDisplay(IUILineDisplayable* shown) override {
        return Add(std::wstring(L"LineDisplay ") + (!shown ? L"null" : shown == display ? L"bound" : L"other"));
    }
    HRESULT Stop() override { return Add(L"Stop"); }
    HRESULT IsRunning() override { return running; }
    HRESULT SaveSchemeFile(IFileArchiveScheme* described, IFileArchiveScheme* target, int32_t*) override {
        return Add(L"Save " + Of(described) + L" to " + Of(target));
    }
    HRESULT LoadSchemeFile(IFileArchiveScheme* server, IFileArchiveScheme* client) override {
        return Add(L"Load " + Of(server) + L" " + Of(client));
    }
    // The file side fails, the other lists 7 files.
    HRESULT CreateSchemeFile(IUnknown* side, IString* name, int32_t* files) override {
        IPtr<IFileArchiveScheme> scheme = QueryAs<IFileArchiveScheme>(side);
        Add(L"CreateSchemeFile " + Of(scheme.Get()) + L" " + TextOf(name));
        if (scheme.Get() == file) return E_FAIL;
        *files = 7;
        return S_OK;
    }
    HRESULT OpenFileObject(tagREFString, IUnknown*, tagREFString, IUnknown**, int32_t) override { return E_NOTIMPL; }

private:
    HRESULT Add(std::wstring call) {
        calls.push_back(std::move(call));
        return S_OK;
    }
    std::wstring Of(IFileArchiveScheme* scheme) const {
        if (!scheme) return L"null";
        if (scheme == http) return L"http";
        if (scheme == file) return L"file";
        return L"other";
    }
};

// The step in a host whose schemes, services and event log are the fakes.
// The fakes outlive the step, whose release still calls the service.
struct Host {
    Journal schemes;
    FakeScheme http{L"URLhttp", schemes};
    FakeScheme file{L"URLFile", schemes};
    RecordingServices services;
    RecordingDisplay display, eventLog;
    RoutingCollection routing;
    IPtr<IParameters> step;

    explicit Host(bool withService = true) {
        services.http = &http;
        services.file = &file;
        services.display = &display;
        routing.Answer(L"URLhttp", &http);
        routing.Answer(L"URLFile", &file);
        routing.Answer(L"UIUtils", static_cast<IUIUtils*>(&services));
        routing.Answer(L"FASService", withService ? static_cast<IFASService*>(&services) : nullptr);
        routing.Answer(L"EventLogGlobal", &eventLog);
        step = CreateRegistered(L"ShadowList");
    }
    ~Host() { step.Release(); }

    void Text(int32_t index, const std::wstring& text) { step->put_Item(index, ISMake(text).Get()); }
    void Number(int32_t index, int32_t value) { step->put_Item(index, IPtr<IVariant>::Adopt(IVCreate(value)).Get()); }
    HRESULT Run() { return QueryAs<IStep>(step.Get())->TurnOn(); }
    HRESULT Do(int32_t code) { return QueryAs<IUIVerbCollectionSpecify>(step.Get())->DoAction(code, nullptr); }
};

TEST(ShadowList, IsTheComponentRegisteredAsShadowList) {
    CreatorFunction creator = nullptr;
    ASSERT_EQ(CreateFunction(10, L"ShadowList", &creator), S_OK);
    EXPECT_EQ(creator, &CObject<CShadowList>::_CreateInstance);
}

TEST(ShadowList, LocationsChooseTheSchemeAndBecomeItsHostName) {
    const std::wstring defaultURL(REFView(gDefaultURL));
    const struct {
        std::wstring source;
        std::wstring scheme;
    } cases[] = {
        {L"", L"URLhttp HOSTNAME=" + defaultURL},
        {L" \t\n", L"URLhttp HOSTNAME=" + defaultURL},
        {L"ftp://host/x", L"URLhttp HOSTNAME=ftp://host/x"},
        {L"HTTP://host/x", L"URLhttp HOSTNAME=HTTP://host/x"},
        {L"file:///x", L"URLFile HOSTNAME=file:///x"},
        {L"/x", L"URLFile HOSTNAME=/x"},
        {L"http://", L"URLFile HOSTNAME=http://"},
        {L"\xEF\xBB\xBF/x", L"URLFile HOSTNAME=\xBB\xBF/x"},
        {L"\xFE /x \n", L"URLFile HOSTNAME=/x "},
        {L"/x\x7F\xFF\r", L"URLFile HOSTNAME=/x"},
    };
    for (const auto& c : cases) {
        Host host;
        host.Text(CShadowList::kSource, c.source);
        host.Text(CShadowList::kDestination, L"/client");
        EXPECT_EQ(host.Run(), S_OK);
        EXPECT_EQ(host.schemes, (Journal{c.scheme + L" 6", L"URLFile HOSTNAME=/client 6"}))
            << testing::PrintToString(c.source);
    }
}

TEST(ShadowList, ASchemeGivenAsTheValueIsUsedAsItIs) {
    Host host;
    host.step->put_Item(CShadowList::kSource, static_cast<IFileArchiveScheme*>(&host.file));
    host.Text(CShadowList::kDestination, L"http://client/");
    host.Run();
    EXPECT_EQ(host.schemes, (Journal{L"URLhttp HOSTNAME=http://client/ 6"}));
    EXPECT_EQ(host.services.calls.back(), L"Transfer file http 0");
}

TEST(ShadowList, RunHandsFileNameAndDisplayThenTransfersOrCommits) {
    const struct {
        int32_t action;
        std::wstring last;
    } cases[] = {
        {0, L"Transfer http file 0"}, {1, L"Transfer http file 1"}, {3, L"Transfer http file 3"},
        {-1, L"Transfer http file 0"}, {4, L"Commit file http"},    {5, L"Commit file http"},
        {7, L"Commit file http"},
    };
    for (const auto& c : cases) {
        Host host;
        BindDisplay(host.step.Get(), &host.display);
        host.Text(CShadowList::kSource, L"http://server/");
        host.Text(CShadowList::kDestination, L"/client");
        host.Text(CShadowList::kFASFile, L"list.fas");
        host.Number(CShadowList::kRunAction, c.action);
        EXPECT_EQ(host.Run(), S_OK);
        EXPECT_EQ(host.services.calls, (Journal{L"SchemeFile list.fas", L"LineDisplay bound", c.last})) << c.action;
    }
}

TEST(ShadowList, VerbsPerformTheirActionsOrComeBackUnchanged) {
    const struct {
        int32_t code;
        HRESULT result;
        Journal calls;
    } cases[] = {
        {120, S_OK, {L"LineDisplay null", L"SchemeFile f.fas", L"Transfer http file 0"}},
        {123, S_OK, {L"LineDisplay null", L"SchemeFile f.fas", L"Transfer http file 3"}},
        {103, S_OK, {L"SchemeFile f.fas", L"LineDisplay null", L"Save http to http"}},
        {104, S_OK, {L"SchemeFile f.fas", L"LineDisplay null", L"Save http to file"}},
        {105, S_OK, {L"SchemeFile f.fas", L"LineDisplay null", L"Save file to file"}},
        {106, S_OK, {L"SchemeFile f.fas", L"LineDisplay null", L"Save file to http"}},
        {110, S_OK, {L"SchemeFile f.fas", L"LineDisplay null", L"Load http file"}},
        {101, S_OK, {L"CreateSchemeFile http f.fas"}},
        {102, E_FAIL, {L"CreateSchemeFile file f.fas"}},
        {3, 3, {}},
        {8, 8, {}},
        {130, 130, {}},
        {131, 131, {}},
        {-5, -5, {}},
    };
    for (const auto& c : cases) {
        Host host;
        host.Text(CShadowList::kSource, L"http://server/");
        host.Text(CShadowList::kDestination, L"/client");
        host.Text(CShadowList::kFASFile, L"f.fas");
        EXPECT_EQ(host.Do(c.code), c.result) << c.code;
        EXPECT_EQ(host.services.calls, c.calls) << c.code;
        if (c.code == 101 || c.code == 102) {
            const int32_t files = c.code == 101 ? 7 : -1;
            IPtr<IVariant> value;
            host.step->get_ItemVariant(c.code - 97, value.Out());
            int32_t written = 0;
            ASSERT_TRUE(value) << c.code;
            value->get_Integer(&written);
            EXPECT_EQ(written, files) << c.code;
        }
    }
}

TEST(ShadowList, OffersItsVerbsInOrder) {
    Host host;
    IPtr<IUIVerbCollection> verbs;
    ASSERT_EQ(QueryAs<IUIVerbCollectionSpecify>(host.step.Get())->GetVerbs(0, nullptr, verbs.Out()), S_OK);
    Journal shown;
    IPtr<IString> text;
    int32_t code = 0;
    for (int32_t i = 0; SUCCEEDED(verbs->get_Verb(i, text.Out(), &code)); ++i)
        shown.push_back(TextOf(text.Get()) + L" " + std::to_wstring(code));
    EXPECT_EQ(shown, (Journal{L"Run 8", L"Edit 3", L" 2", L"CreateFAS_Src 101", L"CreateFAS_Dest 102",
                              L"SaveFAS_SrcToSrc 103", L"SaveFAS_SrcToDest 104", L"SaveFAS_DestToDest 105",
                              L"SaveFAS_DestToSrc 106", L"LoadFAS 110", L"Update 120", L"UpdateAll 121",
                              L"Install 122", L"InstallAll 123", L"Commit 130", L"CommitAll 131"}));
}

TEST(ShadowList, StopAndRunningStateAreTheServicesAndReleaseStopsIt) {
    Host host;
    IPtr<IStep> step = QueryAs<IStep>(host.step.Get());
    EXPECT_FALSE(step->IsRunning());
    host.services.running = S_OK;
    EXPECT_TRUE(step->IsRunning());
    EXPECT_EQ(step->TurnOff(), S_OK);
    step.Release();
    host.step.Release();
    EXPECT_EQ(host.services.calls, (Journal{L"Stop", L"Stop", L"LineDisplay null"}));
}

TEST(ShadowList, WithoutTheServiceNothingIsCalledAndTheLackIsReported) {
    Host host(false);
    BindDisplay(host.step.Get(), &host.display);
    host.Text(CShadowList::kSource, L"http://server/");
    IPtr<IStep> step = QueryAs<IStep>(host.step.Get());
    EXPECT_EQ(step->TurnOn(), S_OK);
    EXPECT_EQ(host.Do(120), E_FAIL);
    EXPECT_EQ(host.Do(110), E_FAIL);
    EXPECT_EQ(step->TurnOff(), S_OK);
    EXPECT_FALSE(step->IsRunning());
    EXPECT_TRUE(host.services.calls.empty());
    EXPECT_TRUE(host.schemes.empty());
    const std::wstring line = L"ShadowList: Cannot create FASService 8";
    EXPECT_EQ(host.display.lines, Journal(3, line));
    EXPECT_EQ(host.eventLog.lines, Journal(3, line));
}

TEST(ShadowList, TheWorkspacesFolderBecomesAnEmptyClientSideOnly) {
    Host host;
    IPtr<IFileArchive> workspace = CreateHostObject<IFileArchive>(L"ActiveWorkspace");
    ASSERT_TRUE(workspace);
    const auto destination = [&] {
        IPtr<IUnknown> value;
        host.step->get_Item(CShadowList::kDestination, value.Out());
        return TextOf(value.Get());
    };
    const struct {
        const wchar_t* workspace;
        const wchar_t* destination;
        HRESULT result;
        const wchar_t* after;
    } cases[] = {
        {L"/w/apps/app.xWS", L"", S_OK, L"/w/apps"},
        {L"/w/apps/app.xWS", L"/mine", S_FALSE, L"/mine"},
        {L"app.xWS", L"", E_FAIL, L""},
    };
    for (const auto& c : cases) {
        workspace->put_Filename(ISMake(c.workspace).Get());
        host.Text(CShadowList::kDestination, c.destination);
        EXPECT_EQ(host.Do(111), c.result) << testing::PrintToString(std::wstring(c.workspace));
        EXPECT_EQ(destination(), c.after) << testing::PrintToString(std::wstring(c.workspace));
    }
    workspace->put_Filename(nullptr);
}

} // namespace
