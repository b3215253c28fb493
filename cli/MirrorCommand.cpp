// shadow mirror SRC DST [--clean] [--all] [--flat] [--verbose]
#include <cstdio>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/FolderChecks.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/ParameterTable.h"
#include "cli/StepRunner.h"
#include "cli/Text.h"

namespace cli {

namespace {

struct MirrorOptions {
    std::string source;
    std::string destination;
    bool clean = false;
    bool all = false;
    bool flat = false;
    bool verbose = false;
    bool help = false;
};

MirrorOptions ParseMirror(const Arguments& args) {
    MirrorOptions options;
    std::vector<std::string> folders;
    bool optionsEnded = false;
    for (const std::string& arg : args) {
        if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
            if (arg == "--") optionsEnded = true;
            else if (IsHelpOption(arg)) options.help = true;
            else if (arg == "--clean") options.clean = true;
            else if (arg == "--all") options.all = true;
            else if (arg == "--flat") options.flat = true;
            else if (arg == "--verbose" || arg == "-v") options.verbose = true;
            else
                throw UsageError("unknown option " + arg +
                                 " for mirror; valid options: --clean, --all, --flat, --verbose");
            continue;
        }
        folders.push_back(arg);
    }
    if (options.help) return options;
    if (folders.empty()) throw UsageError("mirror: missing arguments SRC and DST");
    if (folders.size() == 1) throw UsageError("mirror: missing argument DST");
    if (folders.size() > 2) throw UsageError("mirror: unexpected argument " + folders[2] + " (expected SRC DST)");
    options.source = WithoutTrailingSlash(folders[0]);
    options.destination = WithoutTrailingSlash(folders[1]);
    if (options.source.empty() || options.destination.empty()) throw UsageError("mirror: SRC and DST must not be empty");
    return options;
}

void Set(const HostRuntime& runtime, IParameters* parameters, const std::vector<ParameterInfo>& all,
         const wchar_t* name, const std::wstring& value) {
    const ParameterInfo* parameter = FindParameter(all, name);
    if (!parameter) throw Failure("the Shadow component has no parameter " + ToUtf8(name));
    SetParameter(runtime, parameters, *parameter, value);
}

void PrintStatistics(IUnknown* component, bool clean) {
    auto shadow = QueryAs<IShadow>(component, IID_IShadow);
    if (!shadow) return;
    int32_t files = 0;
    double bytes = 0;
    shadow->GetCopyStatistics(&files, &bytes);
    std::printf("Copied:  %d file%s, %s\n", files, files == 1 ? "" : "s", ByteText(bytes).c_str());
    if (clean) {
        shadow->GetDeleteStatistics(&files, &bytes);
        std::printf("Deleted: %d file%s, %s\n", files, files == 1 ? "" : "s", ByteText(bytes).c_str());
    }
    std::fflush(stdout);
}

} // namespace

int MirrorCommand(const Arguments& args) {
    MirrorOptions options = ParseMirror(args);
    if (options.help) {
        std::fputs(MirrorHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    std::wstring source = WideArgument(options.source);
    std::wstring destination = WideArgument(options.destination);
    CheckSourceFolder(options.source);
    CheckDestinationFolder(options.destination);
    CheckFoldersApart(options.source, options.destination);

    auto runtime = HostRuntime::Start();
    auto component = runtime->Create<IUnknown>(L"Shadow", IID_IUnknown);
    if (!component) throw Failure("the module offers no Shadow component");
    auto parameters = component.Query<IParameters>(IID_IParameters);
    if (!parameters) throw Failure("the Shadow component has no parameters");

    std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
    Set(*runtime, parameters.Get(), all, L"SourcePath", source);
    Set(*runtime, parameters.Get(), all, L"DestinationPath", destination);
    Set(*runtime, parameters.Get(), all, L"CleanOlderFiles", options.clean ? L"1" : L"0");
    Set(*runtime, parameters.Get(), all, L"CopyNewOnly", options.all ? L"0" : L"1");
    Set(*runtime, parameters.Get(), all, L"CopySubFolders", options.flat ? L"0" : L"1");

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(options.verbose), L"Shadow");
    auto workspace = BindLineDisplay(*runtime, component.Get(), static_cast<IUILineDisplayable*>(monitor.Get()));
    StepOutcome outcome = RunStep(component.Get(), monitor.Get());
    PrintStatistics(component.Get(), options.clean);
    return ExitCodeOf(outcome, monitor.Get(), "mirror");
}

} // namespace cli
