// shadow selective SRC_ROOT DST_ROOT ENTRY... [--clean] [--all] [--flat] [--verbose]
// shadow selective --load LIST.xml [SRC_ROOT DST_ROOT [ENTRY...]] [...] [--save LIST.xml [--no-run]]
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Components.h"
#include "cli/FailureWatch.h"
#include "cli/FolderChecks.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/ParameterTable.h"
#include "cli/StepRunner.h"
#include "cli/Text.h"

namespace cli {

namespace {

constexpr wchar_t kEntryPrefix[] = L"FolderOrFile";
// The entries the component declares; more are added as parameters of the
// same form, which it reads as well.
constexpr int kDeclaredEntries = 40;

struct SelectiveOptions {
    std::vector<std::string> positional;
    std::optional<bool> clean, all, flat; // set only when given
    std::string load, save;
    bool noRun = false;
    bool verbose = false;
    bool help = false;
};

SelectiveOptions ParseSelective(const Arguments& args) {
    SelectiveOptions o;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
            if (arg == "--") optionsEnded = true;
            else if (IsHelpOption(arg)) o.help = true;
            else if (arg == "--clean") o.clean = true;
            else if (arg == "--all") o.all = true;
            else if (arg == "--flat") o.flat = true;
            else if (arg == "--no-run") o.noRun = true;
            else if (arg == "--verbose" || arg == "-v") o.verbose = true;
            else if (TakeOption(args, i, "--load", o.load, "a file name") ||
                     TakeOption(args, i, "--save", o.save, "a file name")) {
            } else
                throw UsageError("unknown option " + arg +
                                 " for selective; valid options: --clean, --all, --flat, --load, --save, --no-run, "
                                 "--verbose");
            continue;
        }
        o.positional.push_back(arg);
    }
    if (o.help) return o;
    if (o.noRun && o.save.empty()) throw UsageError("selective: --no-run only saves, and needs --save FILE");
    if (o.load.empty() && o.positional.size() < 3)
        throw UsageError("selective: expected SRC_ROOT DST_ROOT ENTRY... (or --load LIST.xml)");
    if (o.positional.size() == 1) throw UsageError("selective: missing argument DST_ROOT");
    return o;
}

// An entry names a folder or file below both roots: relative, without "..".
void CheckEntry(const std::string& entry) {
    if (entry.empty()) throw UsageError("selective: an entry must not be empty");
    if (entry.front() == '/') throw UsageError("selective: entry " + entry + " must be relative to the roots");
    if (entry.find('\n') != std::string::npos) throw UsageError("selective: entry names one folder or file a line");
    size_t start = 0;
    while (start <= entry.size()) {
        size_t end = entry.find('/', start);
        if (end == std::string::npos) end = entry.size();
        if (entry.compare(start, end - start, "..") == 0)
            throw UsageError("selective: entry " + entry + " leaves the roots (\"..\")");
        start = end + 1;
    }
}

// Puts the entries into "FolderOrFile1" onwards and empties the rest, adding
// parameters of the same form beyond the declared ones when needed.
void PutEntries(const HostRuntime& runtime, IParameters* parameters, const std::vector<std::wstring>& entries) {
    auto creatable = QueryAs<IParametersCreatable>(parameters);
    std::vector<ParameterInfo> all = ReadParameters(parameters);
    for (size_t n = 1;; ++n) {
        const std::wstring name = kEntryPrefix + std::to_wstring(n);
        const std::wstring value = n <= entries.size() ? entries[n - 1] : L"";
        if (FindParameter(all, name)) {
            PutTextParameter(runtime, parameters, all, name, value);
        } else if (n <= entries.size()) {
            if (!creatable || FAILED(creatable->Add(runtime.NewString(name).Get(), runtime.NewString(value).Get(),
                                                    nullptr, PARAM_TYPE_TEXT)))
                throw Failure("the ShadowSelective step refused entry " + std::to_string(n));
        } else if (n > static_cast<size_t>(kDeclaredEntries)) {
            break;
        }
    }
}

IPtr<IFileArchive> ParametersFile(IUnknown* step, const std::string& path, const HostRuntime& runtime) {
    auto file = QueryAs<IFileArchive>(step);
    if (!file) throw Failure("the ShadowSelective step has no parameters file");
    if (FAILED(file->put_Filename(runtime.NewString(WideArgument(AbsolutePath(path))).Get())))
        throw Failure("the ShadowSelective step refused the file name " + path);
    return file;
}

} // namespace

int SelectiveCommand(const Arguments& args) {
    SelectiveOptions o = ParseSelective(args);
    if (o.help) {
        std::fputs(SelectiveHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    std::vector<std::wstring> entries;
    for (size_t i = 2; i < o.positional.size(); ++i) {
        CheckEntry(o.positional[i]);
        entries.push_back(WideArgument(o.positional[i]));
    }

    auto runtime = HostRuntime::Start();
    FailureWatch failures(*runtime);
    std::wstring name;
    auto step = CreateModuleComponent(*runtime, L"ShadowSelective", &name);
    auto parameters = step.Query<IParameters>();
    if (!parameters) throw Failure("the ShadowSelective step has no parameters");
    if (!o.load.empty() && FAILED(ParametersFile(step.Get(), o.load, *runtime)->Load()))
        throw Failure("cannot load the list " + o.load +
                      (failures.Failures().empty() ? "" : ": " + failures.Failures().front()));

    const std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
    if (o.positional.size() >= 2) {
        PutTextParameter(*runtime, parameters.Get(), all, L"SourceRoot", WideArgument(AbsolutePath(o.positional[0])));
        PutTextParameter(*runtime, parameters.Get(), all, L"DestinationRoot",
                         WideArgument(AbsolutePath(o.positional[1])));
    }
    if (o.clean) PutIntegerParameter(*runtime, parameters.Get(), all, L"CleanOlderFiles", *o.clean ? 1 : 0);
    if (o.all) PutIntegerParameter(*runtime, parameters.Get(), all, L"CopyNewOnly", *o.all ? 0 : 1);
    if (o.flat) PutIntegerParameter(*runtime, parameters.Get(), all, L"CopySubFolders", *o.flat ? 0 : 1);
    if (!entries.empty()) PutEntries(*runtime, parameters.Get(), entries);

    if (!o.save.empty()) {
        if (FAILED(ParametersFile(step.Get(), o.save, *runtime)->Save()))
            throw Failure("cannot save the list " + o.save);
        std::printf("saved %s\n", o.save.c_str());
        if (o.noRun) return EXIT_SUCCESS_CODE;
    }

    // The same guards as for `shadow mirror`, on the roots the run uses.
    const std::vector<ParameterInfo> now = ReadParameters(parameters.Get());
    const ParameterInfo* source = FindParameter(now, L"SourceRoot");
    const ParameterInfo* destination = FindParameter(now, L"DestinationRoot");
    const std::string sourceRoot = source ? ToUtf8(source->value) : "";
    const std::string destinationRoot = destination ? ToUtf8(destination->value) : "";
    if (sourceRoot.empty() || destinationRoot.empty()) throw UsageError("selective: the list names no roots");
    CheckNotCaseVariants(sourceRoot, destinationRoot);
    CheckSourceFolder(sourceRoot);
    CheckDestinationFolder(destinationRoot);
    CheckFoldersApart(sourceRoot, destinationRoot);

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(o.verbose), name);
    auto workspace = BindLineDisplay(*runtime, step.Get(), static_cast<IUILineDisplayable*>(monitor.Get()));
    StepOutcome outcome = RunStep(step.Get(), monitor.Get());
    return ExitCodeOf(outcome, monitor.Get(), "selective", &failures, o.verbose);
}

} // namespace cli
