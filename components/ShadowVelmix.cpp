#include "components/ShadowVelmix.h"

#include <cerrno>

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cwctype>

#include "core/Helpers.h"
#include "sdk/FileListing.h"

namespace {


// The folder steps of the common files, in order: the root itself, then
// each folder with its sub-folder as a step of its own.
constexpr const wchar_t* kCommonFolders[] = {L"", L"icons", L"icons/UI", L"help", L"help/images", L"slides"};
constexpr const wchar_t* kCommonListFiles[] = {L"Components.csv", L"Strings.txt", L"default.dic"};
constexpr wchar_t kCommonList[] = L"vmCmn";
constexpr wchar_t kHelpFolder[] = L"help";
constexpr wchar_t kHelpStyle[] = L"helpstyle.css";

// The extra-file paths come from a text file: blanks around them are not
// part of the name.
std::wstring_view TrimBlanks(std::wstring_view text) {
    while (!text.empty() && std::iswspace(text.front())) text.remove_prefix(1);
    while (!text.empty() && std::iswspace(text.back())) text.remove_suffix(1);
    return text;
}

} // namespace

const CShadowVelmix::Platform CShadowVelmix::kPlatforms[7] = {
    {L"WIN32", L"Windows...", L"_binWIN32", L".dll", L".velmix", Runner::Windows32},
    {L"WIN64", L"Windows...", L"_binWIN64", L".dll", L".velmix", Runner::Windows64},
    {L"MAC", L"MAC...", L"_binMAC", L".dylib", nullptr, Runner::Mac},
    {L"LIN32", L"LIN32....", L"_binLIN32", L".so", nullptr, Runner::Linux},
    {L"LIN64", L"LIN64....", L"_binLIN64", L".so", nullptr, Runner::Linux},
    {L"ARM64", L"ARM64....", L"_binARM64", L".so", nullptr, Runner::Linux},
    {L"ARM32", L"ARM32....", L"_binARM32", L".so", nullptr, Runner::Linux},
};

HRESULT CShadowVelmix::FinalConstruct() {
    DeclareInput(L"UILineDisplayable", IID_IUILineDisplayable);
    struct Row {
        const wchar_t* name;
        const wchar_t* value;
        int32_t flags;
        const wchar_t* choices;
    };
    static constexpr Row kRows[] = {
        {L"SourceCSV", L".\\vmCmn\\components.csv", 0x16, nullptr},
        {L"SourcePath", L".\\Prd_Data\\Corvane", 0x26, nullptr},
        {L"CommonSourcePath", L".\\", 0x26, nullptr},
        {L"DestinationPath", L".\\Prd_Release\\CorvaneWIN64", 0x26, nullptr},
        {L"OS", L"WIN64", 0x46, L"WIN32|WIN64|MAC|LIN32|LIN64|ARM64|ARM32"},
    };
    for (const Row& row : kRows) {
        CollectionLock();
        AddTextParameter(row.name, row.value, row.flags, row.choices);
        CollectionUnlock();
    }
    return S_OK;
}

HRESULT CShadowVelmix::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage"});
}

HRESULT CShadowVelmix::GetCopyStatistics(int32_t* files, double* bytes) {
    return m_CopyStatistics.Report(files, bytes);
}

HRESULT CShadowVelmix::GetDeleteStatistics(int32_t* files, double* bytes) {
    return m_DeleteStatistics.Report(files, bytes);
}

void CShadowVelmix::Line(IUILineDisplayable* sink, std::wstring_view text, uint32_t kind) {
    if (!sink) return;
    IPtr<IString> title = IPtr<IString>::Adopt(ISCreate(kObjectName));
    IPtr<IString> line = IPtr<IString>::Adopt(ISCreate(REFOf(text)));
    sink->DisplayLine(title.Get(), line.Get(), kind);
}

std::wstring CShadowVelmix::Slashed(int32_t index, IString* text) {
    std::wstring value(ISView(text));
    if (value.find(L'\\') == std::wstring::npos) return value;
    std::replace(value.begin(), value.end(), L'\\', L'/');
    IPtr<IString> stored = IPtr<IString>::Adopt(ISCreate(REFOf(value)));
    put_Item(index, stored.Get());
    return value;
}

HRESULT CShadowVelmix::Execute(CStopEvent* stop) {
    IPtr<IUnknown> display = InputValue(0);
    IPtr<IUILineDisplayable> sink = QueryAs<IUILineDisplayable>(display.Get());
    IPtr<IString> csv = ParameterText(kSourceCSV);
    IPtr<IString> source = ParameterText(kSourcePath);
    IPtr<IString> common = ParameterText(kCommonSourcePath);
    IPtr<IString> destination = ParameterText(kDestinationPath);
    m_CopyStatistics.Clear();
    m_DeleteStatistics.Clear();
    if (CREFString(csv.Get()).IsEmpty() || CREFString(source.Get()).IsEmpty() ||
        CREFString(destination.Get()).IsEmpty())
        return S_OK;

    Run run;
    run.sink = sink.Get();
    run.stop = stop;
    run.source = Slashed(kSourcePath, source.Get());
    run.destination = Slashed(kDestinationPath, destination.Get());
    const std::wstring csvPath = Slashed(kSourceCSV, csv.Get());
    // An empty common tree is the current folder, not the file system's
    // root that "" + "/icons" would name.
    run.common = std::wstring(ISView(common.Get()));
    if (run.common.empty()) run.common = L".";

    Line(run.sink, L"Creating Lists");
    IPtr<IString> csvText = IPtr<IString>::Adopt(ISCreate(REFOf(csvPath)));
    const ComponentLists lists = CreateLists(csvText.Get());

    OSError error;
    if (!run.release.Open(REFOf(run.destination), &error))
        m_Failures.Record("cannot create folder", REFOf(run.destination), error);

    const CREFString os(ParameterText(kOS).Get());
    for (const Platform& platform : kPlatforms) {
        if (CStopEvent::Requested(stop)) break;
        // Over the shorter length: "WIN" selects both Windows platforms.
        if (FAILED(os.CompareI(REFLiteral(platform.key), 0))) continue;
        Line(run.sink, platform.progress);
        CopyBin(run, platform, lists.modules);
        switch (platform.runner) {
        case Runner::Windows32: CopyWindows(run, true); break;
        case Runner::Windows64: CopyWindows(run, false); break;
        case Runner::Mac: CopyMAC(run); break;
        case Runner::Linux: CopyLinux(run); break;
        }
    }

    Line(run.sink, L"icons, images,...");
    if (!CStopEvent::Requested(stop)) CopyExtra(run, lists.extraFiles);

    wchar_t closing[128];
    std::swprintf(closing, sizeof closing / sizeof *closing, L"Copied %d Files (%-12.0f bytes)",
                  m_CopyStatistics.Files(), m_CopyStatistics.Bytes());
    Line(run.sink, closing);
    m_Failures.Flush();
    return S_OK;
}

ComponentLists CShadowVelmix::CreateLists(IString* csvPath) {
    std::vector<std::wstring> lines;
    // A list that cannot be read leaves both lists empty: the runners and
    // the common files are still copied.
    if (FAILED(ReadComponentLines(csvPath, &lines)))
        m_Failures.Record("cannot read components list", CREFString(csvPath), "the file cannot be loaded");
    return ParseComponentLines(lines);
}

HRESULT CShadowVelmix::CopyInto(Run& run, const std::wstring& source, std::wstring_view relative,
                                bool createFolders) {
    OSError error;
    const HRESULT copied = run.release.CopyInto(REFOf(source), relative, createFolders, &error);
    if (error.Failed()) m_Failures.RecordCopy(REFOf(source), REFOf(OSJoin(run.destination, relative)), error);
    return copied;
}

void CShadowVelmix::CopyBin(Run& run, const Platform& platform, const std::vector<std::wstring>& modules) {
    Line(run.sink, L"Scanning DLL's: " + run.source + L"/");
    OSError error;
    if (!run.release.Folder(platform.folder, true, &error).IsOpen())
        m_Failures.Record("cannot create folder", REFOf(OSJoin(run.destination, platform.folder)), error);
    const std::wstring sourceFolder = OSJoin(run.source, platform.folder);
    for (const std::wstring& name : modules) {
        std::wstring from = OSJoin(sourceFolder, name);
        std::wstring to = OSJoin(platform.folder, name);
        // A Windows module is taken as <name>.velmix when that file exists,
        // else as <name>.dll.
        const wchar_t* suffix = platform.suffix;
        if (platform.preferredSuffix && SUCCEEDED(OSVerify(REFOf(from + platform.preferredSuffix))))
            suffix = platform.preferredSuffix;
        from += suffix;
        to += suffix;
        Line(run.sink, L"Copying: " + name);
        if (!OSStaysBelow(to)) {
            Line(run.sink, L"Refused, outside the release: " + name, LINE_ERROR);
            m_Failures.Record("refused", REFOf(name), "the module's path leaves the release folder");
        } else {
            CopyInto(run, from, to, false);
        }
        // Counted whether or not the copy succeeded.
        m_CopyStatistics.Add(0);
    }
}

void CShadowVelmix::CopyRunnerFile(Run& run, const wchar_t* name) {
    CopyInto(run, OSJoin(run.source, name), name, false);
}

void CShadowVelmix::CopyWindows(Run& run, bool is32Bit) {
    const wchar_t* runner = is32Bit ? L"Ludra32.exe" : L"Ludra.exe";
    CopyRunnerFile(run, runner);
    CopyRunnerFile(run, (std::wstring(runner) + L".manifest").c_str());
}

void CShadowVelmix::CopyLinux(Run& run) {
    CopyRunnerFile(run, L"Ludra");
    CopyRunnerFile(run, L"Ludra.ico");
}

void CShadowVelmix::CopyMAC(Run& run) {
    constexpr wchar_t kBundle[] = L"Ludra.app";
    // The bundle folder is made here, so that a link in its place is
    // refused before the mirror starts; the mirror then works inside it.
    OSError error;
    if (!run.release.Folder(kBundle, true, &error).IsOpen()) {
        m_Failures.Record("cannot create folder", REFOf(OSJoin(run.destination, kBundle)), error);
        return;
    }
    IPtr<IShadow> shadow = CreateHostObject<IShadow>(L"Shadow");
    if (!shadow) {
        Line(run.sink, L"Cannot create Shadow", LINE_ERROR);
        m_Failures.Record("cannot mirror", REFOf(OSJoin(run.source, kBundle)), "the Shadow component cannot be created");
        return;
    }
    IPtr<IString> from = IPtr<IString>::Adopt(ISCreate(REFOf(OSJoin(run.source, kBundle))));
    IPtr<IString> to = IPtr<IString>::Adopt(ISCreate(REFOf(OSJoin(run.destination, kBundle))));
    shadow->Shadow(from.Get(), to.Get(), 0, 1, 0, run.sink);
}

void CShadowVelmix::CopyFolderFiles(Run& run, const std::wstring& relative) {
    const std::wstring from = relative.empty() ? run.common : OSJoin(run.common, relative);
    IPtr<IFileNameCollection> names = CreateHostObject<IFileNameCollection>(L"FileNameCollection");
    IPtr<IExtCollection> extensions = CreateHostObject<IExtCollection>(L"ExtCollection");
    if (!names) {
        m_Failures.Record("cannot list folder", REFOf(from), "the FileNameCollection component cannot be created");
        return;
    }
    // The files directly in the folder: its sub-folders are steps of their
    // own.
    IPtr<IString> folder = IPtr<IString>::Adopt(ISCreate(REFOf(from)));
    names->put_Folder(folder.Get());
    if (extensions && SUCCEEDED(extensions->AddExtension(REFLiteral(L"*"), REFLiteral(L"FileArchive.File"))))
        names->put_Extensions(extensions.Get());
    names->put_Option(24, 1);
    names->put_Option(22, 1);
    names->put_Option(FILENAME_OPTION_FOLDERS, FILENAME_LIST_FILES);
    if (FAILED(names->Scan())) {
        OSError error;
        names->get_Option(FILENAME_OPTION_SCAN_ERROR, &error.code);
        // A common tree need not have every one of the folders: one that is
        // not there has nothing to copy.
        if (error.code == ENOENT) return;
        if (!error.Failed()) error.reason = "the folder cannot be listed";
        m_Failures.Record("cannot list folder", REFOf(from), error);
        return;
    }
    const FileListing files(names.Query<ISuperCollection>());
    for (int32_t i = 0; i < files.Count() && !CStopEvent::Requested(run.stop); ++i) {
        const std::wstring name(ISView(files.Name(i).Get()));
        const std::wstring source = OSJoin(from, name);
        Line(run.sink, L"Copying: " + source);
        CopyInto(run, source, relative.empty() ? name : OSJoin(relative, name), false);
        m_CopyStatistics.Add(static_cast<double>(files.FactsOf(i).size));
    }
}

void CShadowVelmix::CopyExtra(Run& run, const std::vector<std::wstring>& extraFiles) {
    OSError error;
    if (!run.release.Folder(kCommonList, true, &error).IsOpen())
        m_Failures.Record("cannot create folder", REFOf(OSJoin(run.destination, kCommonList)), error);
    const std::wstring listFolder = OSJoin(run.common, kCommonList);
    for (const wchar_t* name : kCommonListFiles) CopyInto(run, OSJoin(listFolder, name), OSJoin(kCommonList, name), false);

    for (const wchar_t* step : kCommonFolders) {
        if (CStopEvent::Requested(run.stop)) return;
        const std::wstring relative(step);
        if (!relative.empty()) {
            OSError made;
            if (!run.release.Folder(relative, true, &made).IsOpen())
                m_Failures.Record("cannot create folder", REFOf(OSJoin(run.destination, relative)), made);
        }
        if (relative == kHelpFolder)
            CopyInto(run, OSJoin(OSJoin(run.common, relative), kHelpStyle), OSJoin(relative, kHelpStyle), false);
        Line(run.sink, L"Copy Files: " + (relative.empty() ? run.common : OSJoin(run.common, relative)));
        CopyFolderFiles(run, relative);
    }

    // Each extra file, relative to the common tree, goes to the same place
    // in the release, its folders made. A path that leaves the tree would
    // read outside the common tree and write outside the release.
    for (const std::wstring& listed : extraFiles) {
        if (CStopEvent::Requested(run.stop)) return;
        const std::wstring relative(TrimBlanks(listed));
        if (relative.empty()) continue;
        if (!OSStaysBelow(relative)) {
            Line(run.sink, L"Refused, outside the common tree: " + relative, LINE_ERROR);
            m_Failures.Record("refused", REFOf(relative), "the extra file's path leaves the common tree");
            continue;
        }
        const std::wstring source = OSJoin(run.common, relative);
        Line(run.sink, L"Copying: " + source);
        struct stat status {};
        const double size = ::stat(OSPath(REFOf(source)).get(), &status) == 0 ? static_cast<double>(status.st_size) : 0;
        CopyInto(run, source, relative, true);
        m_CopyStatistics.Add(size);
    }
}
