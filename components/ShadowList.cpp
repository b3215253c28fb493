#include "components/ShadowList.h"

#include <cwctype>
#include <string>
#include <string_view>

#include "components/FailureLog.h"
#include "core/BaseObject.h"
#include "core/Helpers.h"
#include "sdk/HostUtilities.h"

namespace {

constexpr wchar_t kRunActionChoices[] = L"Update|UpdateAll|Install|InstallAll|Commit|CommitAll";
constexpr wchar_t kServiceName[] = L"FASService";
constexpr char kServiceMissing[] = "Cannot create FASService";
// The setting that names a scheme's location, a text kept with the scheme.
constexpr wchar_t kHostName[] = L"HOSTNAME";
constexpr int32_t kHostNameFlags = 6;

// The verbs, in the order they are offered; the separator has no text.
struct Verb {
    const wchar_t* text;
    int32_t code;
};
constexpr Verb kVerbs[] = {
    {L"Run", CShadowList::kActionRun},
    {L"Edit", CShadowList::kActionEdit},
    {L"", CShadowList::kActionSeparator},
    {L"CreateFAS_Src", CShadowList::kActionCreateSrc},
    {L"CreateFAS_Dest", CShadowList::kActionCreateDest},
    {L"SaveFAS_SrcToSrc", CShadowList::kActionSaveSrcToSrc},
    {L"SaveFAS_SrcToDest", CShadowList::kActionSaveSrcToDest},
    {L"SaveFAS_DestToDest", CShadowList::kActionSaveDestToDest},
    {L"SaveFAS_DestToSrc", CShadowList::kActionSaveDestToSrc},
    {L"LoadFAS", CShadowList::kActionLoad},
    {L"Update", CShadowList::kActionUpdate},
    {L"UpdateAll", CShadowList::kActionUpdateAll},
    {L"Install", CShadowList::kActionInstall},
    {L"InstallAll", CShadowList::kActionInstallAll},
    {L"Commit", CShadowList::kActionCommit},
    {L"CommitAll", CShadowList::kActionCommitAll},
};

// Pasted locations often carry white space, control characters and the
// first characters of byte-order marks (0xEF, 0xFE) in front, and line ends
// or DEL and 0xFF behind.
bool SkippedInFront(wchar_t c) { return std::iswspace(c) || std::iswcntrl(c) || c == 0xEF || c == 0xFE; }
bool SkippedAtBack(wchar_t c) { return c < 32 || c == 127 || c == 255; }

std::wstring_view Trim(std::wstring_view text) {
    while (!text.empty() && SkippedInFront(text.front())) text.remove_prefix(1);
    while (!text.empty() && SkippedAtBack(text.back())) text.remove_suffix(1);
    return text;
}

// True when `text` starts with `prefix` (case-blind) and goes on after it.
bool HasPrefix(std::wstring_view text, const wchar_t* prefix) {
    return CREFString(REFOf(text)).CompareI(REFOf(prefix), 1) == S_FALSE;
}

// The scheme component for a location: ftp goes through the same component
// as http, which serves every network scheme; the rest are local paths.
const wchar_t* SchemeComponent(std::wstring_view location) {
    if (HasPrefix(location, L"http://") || HasPrefix(location, L"ftp://")) return L"URLhttp";
    return L"URLFile";
}

void Line(IUILineDisplayable* display, std::wstring_view text, uint32_t kind) {
    if (!display) return;
    IPtr<IString> title = IPtr<IString>::Adopt(ISCreate(IObjectInfoImpl<CShadowList>::m_ObjectName));
    display->DisplayLine(title.Get(), ISMake(text).Get(), kind);
}

// The folder part of a file name: the text before its last "/" ("/" for a
// file in the root), empty when there is none.
std::wstring_view FolderOf(std::wstring_view path) {
    const size_t slash = path.rfind(L'/');
    if (slash == std::wstring_view::npos) return {};
    return slash == 0 ? path.substr(0, 1) : path.substr(0, slash);
}

} // namespace

HRESULT CShadowList::FinalConstruct() {
    DeclareInput(L"UILineDisplayable", IID_IUILineDisplayable);
    // Declared one by one under the collection's lock, as the rows of
    // AddParameterRows are: "RunAction" carries its choices.
    const auto text = [this](const wchar_t* name, int32_t flags) {
        CollectionLock();
        AddTextParameter(name, L"", flags);
        CollectionUnlock();
    };
    const auto integer = [this](const wchar_t* name, int32_t value, int32_t flags, const wchar_t* choices = nullptr) {
        CollectionLock();
        AddIntegerParameter(name, value, flags, choices);
        CollectionUnlock();
    };
    text(L"Source(Server)", 9);
    text(L"Destination(Client)", 0x26);
    text(L"FASFile", 6);
    integer(L"RunAction", 0, 0x43, kRunActionChoices);
    integer(L"SrcSpreadSheet", 0, 0x40027);
    integer(L"DestSpreadSheet", 0, 0x40027);
    text(L"SrcLogin", 6);
    text(L"SrcPassword", 6);
    integer(L"SrcPort", 21, 3);
    text(L"DestLogin", 6);
    text(L"DestPassword", 6);
    integer(L"DestPort", 21, 3);
    // Last: a host without the service still gets the component (see the
    // header for what it then does).
    m_Service = CreateHostObject<IFASService>(kServiceName);
    return S_OK;
}

void CShadowList::FinalRelease() {
    IPtr<IFASService> service = std::move(m_Service);
    if (!service) return;
    service->Stop();
    service->put_LineDisplay(nullptr);
}

HRESULT CShadowList::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage"});
}

HRESULT CShadowList::GetVerbs(int32_t, IUnknown*, IUIVerbCollection** verbs) {
    if (!verbs) return E_POINTER;
    *verbs = nullptr;
    IPtr<IUIVerbCollection> collection = CreateHostObject<IUIVerbCollection>(L"UIVerbCollection");
    if (!collection) return E_FAIL;
    for (const Verb& verb : kVerbs)
        if (FAILED(collection->AddVerb(ISMake(verb.text).Get(), verb.code))) return E_FAIL;
    *verbs = collection.Detach();
    return S_OK;
}

HRESULT CShadowList::TurnOff() { return m_Service ? m_Service->Stop() : S_OK; }

bool CShadowList::IsRunning() { return m_Service && m_Service->IsRunning() == S_OK; }

HRESULT CShadowList::Bind(INamedCollection* components, IUnknown*) {
    // The component answers IInputParameters through the host object it
    // holds, so it stands for its inputs here.
    ParameterBindInputs(static_cast<IParameters*>(this), components);
    ParameterBindParameterDescriptors(static_cast<IParameters*>(this), components);
    return S_OK;
}

HRESULT CShadowList::CreateScheme(IUnknown* location, IFileArchiveScheme** scheme) {
    if (!scheme) return E_POINTER;
    *scheme = nullptr;
    if (IPtr<IFileArchiveScheme> given = QueryAs<IFileArchiveScheme>(location)) {
        *scheme = given.Detach();
        return S_OK;
    }
    IPtr<IString> text = QueryAs<IString>(location);
    std::wstring_view trimmed = Trim(ISView(text.Get()));
    if (trimmed.empty()) trimmed = REFView(gDefaultURL);

    IPtr<IFileArchiveScheme> made = CreateHostObject<IFileArchiveScheme>(SchemeComponent(trimmed));
    // A scheme without its location is no use: none is handed out.
    IPtr<IParametersCreatable> settings = BASEObject::CreateParameters();
    if (!made || !settings) return E_FAIL;
    IPtr<IString> name = ISMake(kHostName);
    IPtr<IVariant> value = IPtr<IVariant>::Adopt(IVCreate(ISMake(trimmed).Get()));
    if (FAILED(settings->Add(name.Get(), value.Get(), nullptr, kHostNameFlags))) return E_FAIL;
    made->put_Parameters(settings.Get());
    *scheme = made.Detach();
    return S_OK;
}

HRESULT CShadowList::CreateScheme(int32_t index, IFileArchiveScheme** scheme) {
    IPtr<IUnknown> value;
    get_Item(index, value.Out());
    return CreateScheme(value.Get(), scheme);
}

IPtr<IUILineDisplayable> CShadowList::Display() { return QueryAs<IUILineDisplayable>(InputValue(0).Get()); }

IFASService* CShadowList::Service() {
    if (m_Service) return m_Service.Get();
    Line(Display().Get(), L"Cannot create FASService", LINE_ERROR);
    FailureLog log(kObjectName);
    log.RecordLine(kServiceMissing);
    log.Flush();
    return nullptr;
}

void CShadowList::PrepareService(IFASService* service) {
    service->put_SchemeFile(ParameterText(kFASFile).Get());
    service->put_LineDisplay(Display().Get());
}

CShadowList::Sides CShadowList::MakeSides() {
    Sides sides;
    CreateScheme(kSource, sides.source.Out());
    CreateScheme(kDestination, sides.destination.Out());
    return sides;
}

HRESULT CShadowList::Execute(CStopEvent*) {
    IFASService* service = Service();
    if (!service) return S_OK;
    const Sides sides = MakeSides();
    PrepareService(service);
    const int32_t action = ParameterInteger(kRunAction, 0);
    // Commit and CommitAll alike: the client's changes go to the server.
    if (action > 3) {
        service->Commit(sides.destination.Get(), sides.source.Get());
    } else {
        const int32_t mode = action >= 1 ? action : 0;
        service->Transfer(sides.source.Get(), sides.destination.Get(), mode);
    }
    return S_OK;
}

HRESULT CShadowList::DoAction(int32_t code, IUnknown*) {
    if (code >= kActionUpdate && code <= kActionInstallAll) {
        IFASService* service = Service();
        if (!service) return E_FAIL;
        service->put_LineDisplay(Display().Get());
        const Sides sides = MakeSides();
        service->put_SchemeFile(ParameterText(kFASFile).Get());
        return service->Transfer(sides.source.Get(), sides.destination.Get(), code - kActionUpdate);
    }
    switch (code) {
    case kActionCreateSrc:
    case kActionCreateDest: return CreateSchemeFile(code);
    case kActionSaveSrcToSrc:
    case kActionSaveSrcToDest:
    case kActionSaveDestToDest:
    case kActionSaveDestToSrc: return SaveSchemeFile(code);
    case kActionLoad: {
        IFASService* service = Service();
        if (!service) return E_FAIL;
        const Sides sides = MakeSides();
        PrepareService(service);
        return service->LoadSchemeFile(sides.source.Get(), sides.destination.Get());
    }
    case kActionWorkspace: return TakeWorkspaceFolder();
    default:
        // "Edit", "Run", "Commit", "CommitAll" and unknown codes: the
        // host's own default.
        return code;
    }
}

HRESULT CShadowList::CreateSchemeFile(int32_t code) {
    const int32_t side = code == kActionCreateSrc ? kSource : kDestination;
    // 101 -> "SrcSpreadSheet" (4), 102 -> "DestSpreadSheet" (5).
    const int32_t result = code - 97;
    int32_t files = -1;
    HRESULT hr = E_FAIL;
    IPtr<IUIUtils> ui = CreateHostObject<IUIUtils>(L"UIUtils");
    IPtr<IFileArchiveScheme> scheme;
    if (!ui) Line(Display().Get(), L"Cannot create UIUtils", LINE_ERROR);
    else if (SUCCEEDED(CreateScheme(side, scheme.Out())))
        hr = ui->CreateSchemeFile(scheme.Get(), ParameterText(kFASFile).Get(), &files);
    if (FAILED(hr)) files = -1;
    put_Item(result, IPtr<IVariant>::Adopt(IVCreate(files)).Get());
    return hr;
}

HRESULT CShadowList::SaveSchemeFile(int32_t code) {
    IFASService* service = Service();
    if (!service) return E_FAIL;
    const Sides sides = MakeSides();
    PrepareService(service);
    // Named after the side described, then the side that receives the file.
    IFileArchiveScheme* described = code <= kActionSaveSrcToDest ? sides.source.Get() : sides.destination.Get();
    IFileArchiveScheme* target = code == kActionSaveSrcToSrc || code == kActionSaveDestToSrc
                                     ? sides.source.Get()
                                     : sides.destination.Get();
    return service->SaveSchemeFile(described, target, nullptr);
}

HRESULT CShadowList::TakeWorkspaceFolder() {
    IPtr<IWorkspace> workspace = CreateHostObject<IWorkspace>(L"ActiveWorkspace");
    IPtr<IFileArchive> archive = workspace.Query<IFileArchive>();
    IPtr<IString> fileName;
    if (!archive || FAILED(archive->get_Filename(fileName.Out()))) return E_FAIL;
    const std::wstring_view folder = FolderOf(ISView(fileName.Get()));
    if (folder.empty()) return E_FAIL;
    // A client side the user chose (a text, or a scheme object) is never
    // replaced.
    IPtr<IUnknown> current;
    get_Item(kDestination, current.Out());
    IPtr<IString> currentText = current.Query<IString>();
    if (current && (!currentText || !Trim(ISView(currentText.Get())).empty())) return S_FALSE;
    return put_Item(kDestination, ISMake(folder).Get());
}
