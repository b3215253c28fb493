#include "components/ShadowSelective.h"

#include <unistd.h>

#include <algorithm>
#include <cwctype>
#include <string>
#include <string_view>

#include "components/FileSystem.h"
#include "components/ShadowImpl.h"
#include "core/Helpers.h"
#include "sdk/ScopeExit.h"

namespace {

// The inner step is asked whether it still runs this often.
constexpr useconds_t kPollMicroseconds = 10000;
// The name under which the display is handed to the inner step.
constexpr wchar_t kDisplaySource[] = L"LineDisplay";

// At the end of a value and of a line: anything up to the blank, DEL and
// 255 (pasted text carries line ends, NULs and stray bytes there).
bool SkippedAtBack(wchar_t c) { return c <= 0x20 || c == 0x7F || c == 0xFF; }
// In front of a line: white space, control characters and the first
// characters of byte-order marks (254, 239).
bool SkippedInFront(wchar_t c) { return std::iswspace(c) || std::iswcntrl(c) || c == 0xFE || c == 0xEF; }

std::wstring_view TrimEnd(std::wstring_view text) {
    while (!text.empty() && SkippedAtBack(text.back())) text.remove_suffix(1);
    return text;
}

std::wstring_view TrimLine(std::wstring_view line) {
    while (!line.empty() && SkippedInFront(line.front())) line.remove_prefix(1);
    return TrimEnd(line);
}

// Binds `display` as input 0 of `step`, so that the step writes its own
// lines to the same display.
void BindDisplay(IUnknown* step, IUnknown* display) {
    IPtr<IInputParameters> inputs = QueryAs<IInputParameters>(step);
    IPtr<IBindableObject> bindable = QueryAs<IBindableObject>(step);
    if (!inputs || !bindable || !display) return;
    IPtr<IUnknown> item;
    if (FAILED(inputs->get_Item(0, item.Out()))) return;
    IPtr<IInputParameter> input = item.Query<IInputParameter>();
    IPtr<ISuperCollection> sources = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
    if (!input || !sources) return;
    IPtr<IString> name = IPtr<IString>::Adopt(ISCreate(kDisplaySource));
    input->put_SourceComponent(name.Get());
    sources->Add(name.Get(), display, nullptr, 0);
    bindable->Bind(sources.Get(), nullptr);
}

} // namespace

HRESULT CShadowSelective::FinalConstruct() {
    SetFileFilter(L"Parameters (*.xml)|*.xml|All Files (*.*)|*.*||");
    DeclareInput(L"UILineDisplayable", IID_IUILineDisplayable);
    AddParameterRows({
        {L"SourceRoot", true, 0, 0x26},
        {L"DestinationRoot", true, 0, 0x26},
        {L"CleanOlderFiles", false, 0, 0x13},
        {L"CopyNewOnly", false, 1, 0x13},
        {L"CopySubFolders", false, 1, 0x13},
        // Results, for a host to show and bind; Execute leaves them alone.
        {L"NbCopied", false, 0, 0x40003},
        {L"BytesCopied", false, 0, 0x40003},
        {L"NbDeleted", false, 0, 0x40003},
        {L"BytesDeleted", false, 0, 0x40003},
    });
    for (int32_t i = 1; i <= kDeclaredEntries; ++i) {
        wchar_t name[32];
        _swprintf(name, 32, L"FolderOrFile%d", i);
        CollectionLock();
        AddTextParameter(name, L"", PARAM_TYPE_TEXT);
        CollectionUnlock();
    }
    return S_OK;
}

HRESULT CShadowSelective::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage",
                                       L"UIPropPages.UIFileArchivePropPage"});
}

HRESULT CShadowSelective::Shadow(IString*, IString*, short, short, short, IUnknown*) { return E_NOTIMPL; }

HRESULT CShadowSelective::GetCopyStatistics(int32_t* files, double* bytes) {
    return m_CopyStatistics.Report(files, bytes);
}

HRESULT CShadowSelective::GetDeleteStatistics(int32_t* files, double* bytes) {
    return m_DeleteStatistics.Report(files, bytes);
}

HRESULT CShadowSelective::Execute(CStopEvent* stop) {
    Run run;
    run.stop = stop;
    IPtr<IUnknown> display = InputValue(0);
    run.sink = QueryAs<IUILineDisplayable>(display.Get());
    // One inner step for the whole run, made through the host collection
    // (bootstrapped from "CollectionsEx" when no host set it) and writing to
    // the same display.
    run.inner = CreateHostObject<IShadow>(CShadow::kObjectName);
    if (run.inner) BindDisplay(run.inner.Get(), run.sink.Get());

    // A root counts only when its variant holds a value.
    auto pathParameter = [this](int32_t index) {
        IPtr<IVariant> value;
        int32_t type = 0;
        if (FAILED(get_ItemVariant(index, value.Out())) || !value || value->get_Type(&type) == 0)
            return IPtr<IString>();
        return IPtr<IString>::Adopt(ISCreate(value.Get()));
    };
    run.sourceRoot = pathParameter(kSourceRoot);
    run.destinationRoot = pathParameter(kDestinationRoot);
    run.clean = ParameterInteger(kCleanOlderFiles);
    run.copyNewOnly = ParameterInteger(kCopyNewOnly);
    run.subFolders = ParameterInteger(kCopySubFolders);
    m_CopyStatistics.Clear();
    m_DeleteStatistics.Clear();
    ScopeExit flush([this] { m_Failures.Flush(); });

    const std::wstring_view destinationRoot = ISView(run.destinationRoot.Get());
    // Without a destination root every entry would land at the top of the
    // file system: nothing is mirrored, as the inner step refuses an empty
    // destination too.
    if (TrimLine(destinationRoot).empty()) {
        m_Failures.RecordLine("no destination root: nothing mirrored");
    } else {
        if (!run.inner) m_Failures.RecordLine("cannot create Shadow: no folder entry can be mirrored");
        // From "FolderOrFile1" as far as the collection reaches, so that
        // parameters a user added after the fortieth are read too.
        for (int32_t index = kFirstEntry; index < ParameterCount(); ++index) {
            IPtr<IVariant> value;
            if (FAILED(get_ItemVariant(index, value.Out())) || !value || (!value->IsString() && !value->IsNumber()))
                break;
            IPtr<IString> text = IPtr<IString>::Adopt(ISCreate(value.Get()));
            const std::wstring_view entries = TrimEnd(ISView(text.Get()));
            // The first parameter without an entry ends the list.
            if (entries.empty() || CStopEvent::Requested(stop)) break;
            size_t start = 0;
            while (start <= entries.size() && !CStopEvent::Requested(stop)) {
                const size_t end = std::min(entries.find(L'\n', start), entries.size());
                const std::wstring_view entry = TrimLine(entries.substr(start, end - start));
                if (!entry.empty()) MirrorEntry(run, entry);
                start = end + 1;
            }
        }
    }

    // The result lines, after a stop as well.
    if (run.sink) {
        IPtr<IString> title = IPtr<IString>::Adopt(ISCreate(kObjectName));
        IPtr<IString> line;
        m_CopyStatistics.GetInfoString(REFOf(destinationRoot), CREFString(L"Copied"), line.Out());
        if (line) run.sink->DisplayLine(title.Get(), line.Get(), LINE_STATUS);
        if (run.clean) {
            m_DeleteStatistics.GetInfoString(REFOf(destinationRoot), CREFString(L"Deleted"), line.Out());
            if (line) run.sink->DisplayLine(title.Get(), line.Get(), LINE_STATUS);
        }
    }
    return S_OK;
}

void CShadowSelective::MirrorEntry(Run& run, std::wstring_view entry) {
    // A list file is text anyone may edit: an entry that reaches out of a
    // root is refused rather than followed.
    if (!OSStaysBelow(entry)) {
        m_Failures.Record("refused entry", REFOf(entry), "it leaves the roots (absolute, or \"..\")");
        return;
    }
    const std::wstring source = OSJoin(ISView(run.sourceRoot.Get()), entry);
    const std::wstring destination = OSJoin(ISView(run.destinationRoot.Get()), entry);
    if (OSVerify(REFOf(source)) == 1) {
        if (run.inner) MirrorFolder(run, ISMake(source).Get(), ISMake(destination).Get());
        return;
    }
    // A file, or a path that does not open: copied without statistics and
    // without a line; its destination folder is not created. A failure
    // goes to the event log (an empty source is copied empty, not failed).
    OSError error;
    if (FAILED(OSCopyFile(REFOf(source), REFOf(destination), 1, &error)) && error.Failed())
        m_Failures.RecordCopy(REFOf(source), REFOf(destination), error);
}

void CShadowSelective::MirrorFolder(Run& run, IString* source, IString* destination) {
    IPtr<IParameters> parameters = run.inner.Query<IParameters>();
    IPtr<IStep> step = run.inner.Query<IStep>();
    if (!parameters || !step) return;
    parameters->put_Item(CShadow::kSourcePath, source);
    parameters->put_Item(CShadow::kDestinationPath, destination);
    for (const auto& [index, value] :
         {std::pair{CShadow::kCleanOlderFiles, run.clean}, std::pair{CShadow::kCopyNewOnly, run.copyNewOnly},
          std::pair{CShadow::kCopySubFolders, run.subFolders}})
        parameters->put_Item(index, IPtr<IVariant>::Adopt(IVCreate(value)).Get());

    if (FAILED(step->TurnOn())) {
        m_Failures.Record("cannot mirror", CREFString(source), "the inner Shadow step does not start");
        return;
    }
    while (step->IsRunning()) {
        if (CStopEvent::Requested(run.stop)) {
            // A stop ends the copying, not only this wait: the inner step is
            // told to stop as well, and TurnOff waits (bounded) for it to
            // finish the file it is at, so that what it did is counted.
            step->TurnOff();
            break;
        }
        usleep(kPollMicroseconds);
    }
    int32_t files = 0;
    double bytes = 0;
    run.inner->GetCopyStatistics(&files, &bytes);
    m_CopyStatistics.AddTotals(files, bytes);
    files = 0;
    bytes = 0;
    run.inner->GetDeleteStatistics(&files, &bytes);
    m_DeleteStatistics.AddTotals(files, bytes);
}
