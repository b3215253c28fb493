#include "components/URLGet.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cwctype>

#include "components/FileSystem.h"
#include "core/BaseObject.h"
#include "core/Helpers.h"
#include "parameters/FileNameMapping.h"
#include "sdk/HostUtilities.h"
#include "sdk/UrlText.h"

namespace {

constexpr wchar_t kHttp[] = L"http://";
constexpr wchar_t kWorkspaceExtension[] = L"xWS";
constexpr wchar_t kCacheFolder[] = L"wwwExchange";
// Both time-outs of the scheme, in milliseconds.
constexpr int32_t kTimeout = 5000;
constexpr int32_t kTimeoutFlags = PARAM_TYPE_INTEGER;
// The link's transfer runs in the background; Execute polls it.
constexpr useconds_t kPollMicroseconds = 5000;

// Pasted names often carry white space, control characters and the first
// characters of byte-order marks (254, 239) in front.
bool SkippedInFront(wchar_t c) { return std::iswspace(c) || std::iswcntrl(c) || c == 0xFE || c == 0xEF; }
// At the back: anything up to the blank, DEL and 255.
bool SkippedAtBack(wchar_t c) { return c <= 0x20 || c == 0x7F || c == 0xFF; }

std::wstring_view TrimFront(std::wstring_view text) {
    while (!text.empty() && SkippedInFront(text.front())) text.remove_prefix(1);
    return text;
}

std::wstring_view Trim(std::wstring_view text) {
    text = TrimFront(text);
    while (!text.empty() && SkippedAtBack(text.back())) text.remove_suffix(1);
    return text;
}

IPtr<IVariant> NewNumber(int value) { return IPtr<IVariant>::Adopt(IVCreate(value)); }

// The full URL: a name that starts like "http://" (compared case-blind over
// the shorter length, so "htt" counts too) is taken as it is; anything else,
// other schemes included, is a name under the default base URL, with the
// workspace extension when it has none.
std::wstring FullURL(std::wstring_view trimmed) {
    if (SUCCEEDED(CREFString(REFOf(trimmed)).CompareI(REFLiteral(kHttp), 0))) return std::wstring(trimmed);
    std::wstring url(REFView(gDefaultURL));
    url.append(trimmed);
    if (trimmed.find(L'.') == std::wstring_view::npos) url.append(L".").append(kWorkspaceExtension);
    return url;
}

// The text after the last "/" (all of it when there is none).
std::wstring_view AfterLastSlash(std::wstring_view text) {
    const size_t slash = text.rfind(L'/');
    return slash == std::wstring_view::npos ? text : text.substr(slash + 1);
}

// Creates the cache folder when it is missing: only its last level, with
// mode 0777 under the user's umask. A failure is not reported; the transfer
// into the folder then fails inside the link.
void EnsureFolder(std::wstring_view folder) {
    const CREFString path(REFOf(folder));
    if (SUCCEEDED(OSVerify(path))) return;
    (void)::mkdir(OSPath(path).get(), 0777);
}

// The extension of a command line, the text after its last "." (empty
// without one), marks a workspace when it starts like "xWS", case kept.
// The whole line counts, so a "." in the argument decides.
bool RunsAsWorkspace(std::wstring_view commandLine) {
    const size_t dot = commandLine.rfind(L'.');
    if (dot == std::wstring_view::npos) return false;
    const std::wstring_view extension = commandLine.substr(dot + 1);
    if (extension.empty()) return false;
    const size_t compared = std::min<size_t>(extension.size(), 3);
    return extension.substr(0, compared) == std::wstring_view(kWorkspaceExtension).substr(0, compared);
}

std::wstring ProgressText(int32_t received, int32_t total) {
    wchar_t text[256] = {};
    if (total == 0) {
        _swprintf(text, 256, L"Downloading  %d", received);
        return text;
    }
    const double percent =
        static_cast<double>(static_cast<float>(received)) * 100.0 / static_cast<double>(static_cast<float>(total));
    int32_t count = total;
    int unit = 0;
    while (count > 5120) {
        count /= 1024;
        ++unit;
    }
    // A 32-bit total never reaches the Gig form; it is kept for the sizes
    // the unit scheme names.
    switch (unit) {
    case 0: _swprintf(text, 256, L"Downloading %.1f%%", percent); break;
    case 1: _swprintf(text, 256, L"Downloading (%d K) %.1f%%", count, percent); break;
    case 2: _swprintf(text, 256, L"Downloading (%d Meg) %.1f%%", count, percent); break;
    default: _swprintf(text, 256, L"Downloading (%d Gig) %.1f%%", count, percent); break;
    }
    return text;
}

} // namespace

HRESULT CURLGet::FinalConstruct() {
    DeclareInput(L"UILineDisplayable", IID_IUILineDisplayable);
    AddParameterRows({
        {L"URL", true, 0, 0x6},
        {L"Arg", true, 0, 0x6},
        {L"CacheLocation", true, 0, 0x26},
        {L"CreateRun", false, 1, 0x13},
        {L"FileObject", false, 0, 0x4000027},
    });
    return S_OK;
}

HRESULT CURLGet::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage"});
}

IPtr<IString> CURLGet::ParameterString(int32_t index) {
    IPtr<IVariant> value;
    if (FAILED(get_ItemVariant(index, value.Out())) || !value) return ISMake({});
    return IPtr<IString>::Adopt(ISCreate(value.Get()));
}

void CURLGet::Line(IUILineDisplayable* display, std::wstring_view text, uint32_t kind) {
    if (!display) return;
    IPtr<IString> title = IPtr<IString>::Adopt(ISCreate(m_ObjectName));
    IPtr<IString> line = ISMake(text);
    display->DisplayLine(title.Get(), line.Get(), kind);
}

void CURLGet::ReportMissing(IUILineDisplayable* display, const wchar_t* component) {
    const std::wstring text = std::wstring(L"Cannot create ") + component;
    Line(display, text, LINE_ERROR);
    IPtr<IUILineDisplayable> log = CreateHostObject<IUILineDisplayable>(L"EventLogGlobal");
    Line(log.Get(), text, LINE_ERROR);
    // Written out at once, as every error line of the log.
    if (IPtr<IFileArchive> archive = log.Query<IFileArchive>()) archive->Save();
}

HRESULT CURLGet::TurnOn() {
    m_Display.Clear();
    IPtr<IUILineDisplayable> display = QueryAs<IUILineDisplayable>(InputValue(0).Get());
    if (!display) {
        display = CreateHostObject<IUILineDisplayable>(L"MessageWindow");
        if (display) Line(display.Get(), UrlWithoutCredentials(ISView(ParameterString(kURL).Get())), LINE_STATUS);
    }
    // Set before the worker starts; Execute lets it go at its end.
    m_Display.Set(std::move(display));
    return IStepImplAsynchronous::TurnOn();
}

HRESULT CURLGet::Progress(IUnknown*, int32_t received, int32_t total, IUnknown*) {
    const std::wstring text = ProgressText(received, total);
    // After Execute has let the display go, progress shows nothing.
    IPtr<IUILineDisplayable> display = m_Display.Get();
    if (!display) return S_OK;
    Line(display.Get(), text, LINE_PROGRESS);
    if (IPtr<IUIRefreshableObject> workspace = CreateHostObject<IUIRefreshableObject>(L"ActiveWorkspace"))
        workspace->Refresh(1);
    return S_OK;
}

HRESULT CURLGet::Execute(CStopEvent*) {
    IPtr<IString> urlText = ParameterString(kURL);
    const std::wstring url = FullURL(Trim(ISView(urlText.Get())));
    const std::wstring_view fileName = AfterLastSlash(url);

    IPtr<IString> cacheText = ParameterString(kCacheLocation);
    std::wstring cache(Trim(ISView(cacheText.Get())));
    if (cache.empty()) {
        IPtr<IString> install;
        FILENAMEGetInstallPath(install.Out());
        cache.assign(ISView(install.Get())).append(L"/").append(kCacheFolder);
    }
    EnsureFolder(cache);
    const std::wstring localPath = cache + L"/" + std::wstring(fileName);

    IPtr<IUILineDisplayable> display = m_Display.Get();
    // The name as it came from the URL, credentials left out when the name
    // is the URL's authority.
    Line(display.Get(), AfterLastSlash(UrlWithoutCredentials(url)), LINE_STATUS);

    IPtr<IFileArchiveScheme> scheme = CreateHostObject<IFileArchiveScheme>(L"URLhttp");
    if (!scheme) {
        ReportMissing(display.Get(), L"URLhttp");
        m_Display.Clear();
        return S_OK;
    }
    IUnknown* listener = static_cast<_IUIProgressEvent*>(this);
    IPtr<IEventSource> events = scheme.Query<IEventSource>();
    if (events) events->Advise(listener, 1);

    if (IPtr<IParametersCreatable> settings = BASEObject::CreateParameters()) {
        for (const wchar_t* name : {L"TIMEOUT1", L"TIMEOUTSUBSEQUENT"})
            settings->Add(IPtr<IString>::Adopt(ISCreate(name)).Get(), NewNumber(kTimeout).Get(), nullptr,
                          kTimeoutFlags);
        scheme->put_Parameters(settings.Get());
    }

    IPtr<IURLLink> link = CreateHostObject<IURLLink>(L"URLLink");
    if (link) {
        link->put_Scheme(scheme.Get());
        link->put_LocalFile(ISMake(localPath).Get());
        link->put_URL(ISMake(url).Get());
        link->Start(0, 0, 1);
        // The step ends only when the link does: the stop request is not
        // consulted here (the link's own IStep stops a transfer).
        if (IPtr<IStep> transfer = link.Query<IStep>())
            while (transfer->IsRunning()) usleep(kPollMicroseconds);
    } else {
        ReportMissing(display.Get(), L"URLLink");
    }

    // Advise(listener, 0) returns only when no progress call is running, so
    // no Progress can use the display after this.
    if (events) events->Advise(listener, 0);
    display.Release();
    m_Display.Clear();
    if (!link) return S_OK;

    // The outcome of the transfer is not examined: a failed download goes on
    // the same way.
    Deliver(localPath);
    return S_OK;
}

void CURLGet::Deliver(const std::wstring& localPath) {
    IPtr<IVariant> createRun;
    int32_t run = 0;
    if (SUCCEEDED(get_ItemVariant(kCreateRun, createRun.Out())) && createRun) createRun->get_Integer(&run);

    if (run != 0) {
        IPtr<IString> argText = ParameterString(kArg);
        const std::wstring_view arg = TrimFront(ISView(argText.Get()));
        std::wstring commandLine = localPath;
        if (!arg.empty()) commandLine.append(L" ").append(arg);
        if (RunsAsWorkspace(commandLine))
            if (IPtr<IOSUtils> os = CreateHostObject<IOSUtils>(L"OSUtils")) os->Run(ISMake(commandLine).Get());
        put_Item(kFileObject, NewNumber(0).Get());
        return;
    }

    IPtr<IUIUtils> ui = CreateHostObject<IUIUtils>(L"UIUtils");
    if (!ui) {
        put_Item(kFileObject, NewNumber(0).Get());
        return;
    }
    IPtr<IUnknown> file;
    ui->OpenFileObject(REFOf(localPath), nullptr, REFOf({}), file.Out(), 1);
    put_Item(kFileObject, file.Get());
}
