// shadow mirror SRC DST [--clean [--max-delete N]] [--all] [--flat] [--dry-run] [--verbose]
#include <charconv>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/FailureWatch.h"
#include "cli/FolderChecks.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/MirrorPlan.h"
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
    bool dryRun = false;
    std::optional<int64_t> maxDelete; // given with --max-delete
    bool help = false;
};

constexpr std::string_view kMaxDeleteIs = "--max-delete=";

int64_t ParseMaxDelete(const std::string& text) {
    int64_t value = -1;
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end || value < 0)
        throw UsageError("--max-delete needs a whole number of entries, 0 or more, not \"" + text + "\"");
    return value;
}

MirrorOptions ParseMirror(const Arguments& args) {
    MirrorOptions options;
    std::vector<std::string> folders;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
            if (arg == "--") optionsEnded = true;
            else if (IsHelpOption(arg)) options.help = true;
            else if (arg == "--clean") options.clean = true;
            else if (arg == "--all") options.all = true;
            else if (arg == "--flat") options.flat = true;
            else if (arg == "--verbose" || arg == "-v") options.verbose = true;
            else if (arg == "--dry-run") options.dryRun = true;
            else if (arg == "--max-delete") {
                if (i + 1 == args.size()) throw UsageError("--max-delete needs a number of entries");
                options.maxDelete = ParseMaxDelete(args[++i]);
            } else if (arg.rfind(kMaxDeleteIs, 0) == 0)
                options.maxDelete = ParseMaxDelete(arg.substr(kMaxDeleteIs.size()));
            else
                throw UsageError("unknown option " + arg +
                                 " for mirror; valid options: --clean, --max-delete N, --all, --flat, --dry-run, "
                                 "--verbose");
            continue;
        }
        folders.push_back(arg);
    }
    if (options.help) return options;
    if (folders.empty()) throw UsageError("mirror: missing arguments SRC and DST");
    if (folders.size() == 1) throw UsageError("mirror: missing argument DST");
    if (folders.size() > 2) throw UsageError("mirror: unexpected argument " + folders[2] + " (expected SRC DST)");
    if (folders[0].empty() || folders[1].empty()) throw UsageError("mirror: SRC and DST must not be empty");
    if (options.maxDelete && !options.clean)
        throw UsageError("mirror: --max-delete limits the deletions of --clean and needs it");
    options.source = AbsolutePath(folders[0]);
    options.destination = AbsolutePath(folders[1]);
    return options;
}

void Set(const HostRuntime& runtime, IParameters* parameters, const std::vector<ParameterInfo>& all,
         const wchar_t* name, const std::wstring& value) {
    const ParameterInfo* parameter = FindParameter(all, name);
    if (!parameter) throw Failure("the Shadow component has no parameter " + ToUtf8(name));
    SetParameter(runtime, parameters, *parameter, value);
}

void PrintStatistics(IUnknown* component, bool clean) {
    auto shadow = QueryAs<IShadow>(component);
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

std::string Counted(int64_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

// One line of a dry run per step, in the order the run would take them.
void PrintStep(const PlannedStep& step) {
    const std::string path = ToUtf8(step.path);
    switch (step.action) {
    case MirrorAction::CopyFile:
        std::printf("would copy: %s -> %s\n", ToUtf8(step.source).c_str(), path.c_str());
        break;
    case MirrorAction::CreateFolder: std::printf("would create folder: %s\n", path.c_str()); break;
    case MirrorAction::SkipFolder: std::printf("would skip folder: %s (%s)\n", path.c_str(), step.why); break;
    case MirrorAction::DeleteFile: std::printf("would delete: %s\n", path.c_str()); break;
    case MirrorAction::DeleteFolder: std::printf("would delete folder: %s\n", path.c_str()); break;
    }
}

std::string DeletionText(const PlanCounts& counts) {
    return Counted(counts.Deletions(), "entry", "entries") + " (" + Counted(counts.filesToDelete, "file", "files") +
           ", " + Counted(counts.foldersToDelete, "folder", "folders") + ")";
}

// Why the planned clean pass must not run, or nothing. A source that lists
// nothing at all is more often a disk that is not mounted than a tree that
// was emptied on purpose: emptying the destination after it takes an
// explicit --max-delete.
std::optional<CliError> DeletionRefusal(const MirrorOptions& options, const PlanCounts& counts, bool sourceEmpty) {
    const int64_t deletions = counts.Deletions();
    if (options.maxDelete) {
        if (deletions <= *options.maxDelete) return std::nullopt;
        return Failure("--clean would delete " + DeletionText(counts) + " from " + options.destination +
                       ", more than --max-delete " + std::to_string(*options.maxDelete) +
                       " allows; nothing was changed");
    }
    if (!sourceEmpty || deletions == 0) return std::nullopt;
    return UsageError("the source folder " + options.source + " is empty, and --clean would delete " +
                      DeletionText(counts) + " from " + options.destination +
                      "; nothing was changed. An empty source is often a disk that is not mounted; to empty the "
                      "destination all the same, give --max-delete " + std::to_string(deletions));
}

// Plans the clean pass before anything runs when a limit or an empty source
// calls for it, and throws the refusal when there is one.
void CheckDeletions(const HostRuntime& runtime, const MirrorSettings& settings, const MirrorOptions& options) {
    if (!options.clean) return;
    MirrorPlan plan(runtime, settings);
    const bool sourceEmpty = !options.maxDelete && plan.SourceLooksEmpty();
    if (!options.maxDelete && !sourceEmpty) return;
    plan.PlanClean();
    if (auto refusal = DeletionRefusal(options, plan.Counts(), sourceEmpty)) throw *refusal;
}

// Prints what the run would do and a summary; changes nothing.
int DryRun(const HostRuntime& runtime, const MirrorSettings& settings, const MirrorOptions& options) {
    MirrorPlan plan(runtime, settings, PrintStep);
    plan.PlanCopy();
    if (options.clean) plan.PlanClean();
    const PlanCounts& counts = plan.Counts();
    std::string summary = "Dry run, nothing changed: would copy " + Counted(counts.filesToCopy, "file", "files") +
                          " (" + ByteText(counts.bytesToCopy) + "), create " +
                          Counted(counts.foldersToCreate, "folder", "folders") + ", skip " +
                          Counted(counts.foldersToSkip, "folder", "folders");
    if (options.clean)
        summary += ", delete " + Counted(counts.filesToDelete, "file", "files") + " (" +
                   ByteText(counts.bytesToDelete) + ") and " + Counted(counts.foldersToDelete, "folder", "folders");
    std::printf("%s\n", summary.c_str());
    if (options.clean) {
        const bool sourceEmpty = !options.maxDelete && plan.SourceLooksEmpty();
        if (auto refusal = DeletionRefusal(options, counts, sourceEmpty))
            std::printf("Without --dry-run this run would be refused: %s\n", refusal->what());
    }
    std::fflush(stdout);
    return EXIT_SUCCESS_CODE;
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
    CheckNotCaseVariants(options.source, options.destination);
    CheckSourceFolder(options.source);
    CheckDestinationFolder(options.destination);
    CheckFoldersApart(options.source, options.destination);

    auto runtime = HostRuntime::Start();
    const MirrorSettings settings{source, destination, !options.all, !options.flat};
    if (options.dryRun) return DryRun(*runtime, settings, options);
    CheckDeletions(*runtime, settings, options);

    auto component = runtime->Create<IUnknown>(L"Shadow");
    if (!component) throw Failure("the module offers no Shadow component");
    auto parameters = component.Query<IParameters>();
    if (!parameters) throw Failure("the Shadow component has no parameters");

    std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
    Set(*runtime, parameters.Get(), all, L"SourcePath", source);
    Set(*runtime, parameters.Get(), all, L"DestinationPath", destination);
    Set(*runtime, parameters.Get(), all, L"CleanOlderFiles", options.clean ? L"1" : L"0");
    Set(*runtime, parameters.Get(), all, L"CopyNewOnly", options.all ? L"0" : L"1");
    Set(*runtime, parameters.Get(), all, L"CopySubFolders", options.flat ? L"0" : L"1");

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(options.verbose), L"Shadow");
    auto workspace = BindLineDisplay(*runtime, component.Get(), static_cast<IUILineDisplayable*>(monitor.Get()));
    FailureWatch failures(*runtime);
    StepOutcome outcome = RunStep(component.Get(), monitor.Get());
    PrintStatistics(component.Get(), options.clean);
    return ExitCodeOf(outcome, monitor.Get(), "mirror", &failures, options.verbose);
}

} // namespace cli
