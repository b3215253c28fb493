// shadow get URL [--cache DIR] [--run] [--arg TEXT] [--verbose]
#include <sys/stat.h>

#include <chrono>
#include <cstdio>

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

struct GetOptions {
    std::string url;
    std::string cache;
    std::string arg;
    bool run = false;
    bool verbose = false;
    bool help = false;
};

GetOptions ParseGet(const Arguments& args) {
    GetOptions o;
    bool haveUrl = false;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
            if (arg == "--") optionsEnded = true;
            else if (IsHelpOption(arg)) o.help = true;
            else if (arg == "--verbose" || arg == "-v") o.verbose = true;
            else if (arg == "--run") o.run = true;
            else if (TakeOption(args, i, "--cache", o.cache, "a folder") || TakeOption(args, i, "--arg", o.arg)) {
            } else
                throw UsageError("unknown option " + arg + " for get; valid options: --cache, --run, --arg, --verbose");
            continue;
        }
        if (haveUrl) throw UsageError("get: one URL at a time (unexpected \"" + arg + "\")");
        o.url = arg;
        haveUrl = true;
    }
    if (!o.help && !haveUrl) throw UsageError("get: missing argument URL");
    return o;
}

// The installation folder the settings registry names; empty when none.
std::wstring InstallPath(const HostRuntime& runtime) {
    auto registry = runtime.Create<IRegistry>(L"Registry");
    if (!registry) return {};
    wchar_t buffer[4096] = {};
    if (FAILED(registry->GetValue(REFLiteral(L"Workspace"), REFLiteral(L"InstallPath"), buffer,
                                  static_cast<int32_t>(std::size(buffer)))))
        return {};
    return buffer;
}

// The step creates only the last level of the cache folder; a missing
// parent is said here rather than as a failed download.
void CheckCacheParent(const std::string& cache) {
    std::string parent = WithoutTrailingSlash(cache);
    const size_t slash = parent.rfind('/');
    parent = slash == std::string::npos ? "." : slash == 0 ? "/" : parent.substr(0, slash);
    struct stat info;
    if (stat(parent.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw UsageError("the cache folder's parent " + parent + " is not a folder");
}

// The object the step stored in "FileObject": the downloaded file.
IPtr<IUnknown> FetchedFile(IParameters* parameters, const std::vector<ParameterInfo>& all) {
    IPtr<IVariant> value;
    parameters->get_ItemVariant(RequireParameter(all, L"FileObject").index, value.Out());
    IPtr<IUnknown> object;
    if (value) value->get_Object(object.Out());
    return object;
}

constexpr char kAbandonNote[] =
    "\nshadow: get interrupted; what has arrived is kept, and the same get resumes it\n";

} // namespace

int GetCommand(const Arguments& args) {
    GetOptions o = ParseGet(args);
    if (o.help) {
        std::fputs(GetHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    auto runtime = HostRuntime::Start();
    // Without a cache folder the step takes the installation folder's
    // "wwwExchange"; with no installation folder configured, the folder of
    // this program stands for it.
    std::string cache = o.cache;
    if (cache.empty() && InstallPath(*runtime).empty()) cache = ExecutableFolder() + "/wwwExchange";
    if (!cache.empty()) CheckCacheParent(cache);

    std::wstring name;
    auto step = CreateModuleComponent(*runtime, L"URLGet", &name);
    auto parameters = step.Query<IParameters>();
    if (!parameters) throw Failure("the URLGet step has no parameters");
    const std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
    PutTextParameter(*runtime, parameters.Get(), all, L"URL", WideArgument(o.url));
    PutTextParameter(*runtime, parameters.Get(), all, L"Arg", WideArgument(o.arg));
    if (!cache.empty()) PutTextParameter(*runtime, parameters.Get(), all, L"CacheLocation", WideArgument(cache));
    PutIntegerParameter(*runtime, parameters.Get(), all, L"CreateRun", o.run ? 1 : 0);

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(o.verbose), name);
    monitor->ShowProgressBars();
    auto workspace = BindLineDisplay(*runtime, step.Get(), static_cast<IUILineDisplayable*>(monitor.Get()));
    FailureWatch failures(*runtime);
    const auto started = std::chrono::steady_clock::now();
    // The step waits for the transfer to end and cannot be stopped; a
    // Ctrl-C leaves what arrived under the work name for the next get.
    StepOutcome outcome = RunStep(step.Get(), monitor.Get(), kAbandonNote);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - started;
    int code = ExitCodeOf(outcome, monitor.Get(), ToUtf8(name), &failures, o.verbose);
    if (code != EXIT_SUCCESS_CODE || o.run) return code;

    IPtr<IUnknown> file = FetchedFile(parameters.Get(), all);
    auto archive = QueryAs<IFileArchive>(file.Get());
    auto stream = QueryAs<IDataStream>(file.Get());
    IPtr<IString> path;
    if (archive) archive->get_Filename(path.Out());
    if (!path || !stream) throw Failure("get: " + o.url + " did not arrive");
    void* data = nullptr;
    unsigned long size = 0;
    stream->GetStream(&data, &size);
    std::printf("%s (%s in %.1f s)\n", ToUtf8(TextOf(path.Get())).c_str(), ByteText(static_cast<double>(size)).c_str(),
                took.count());
    return code;
}

} // namespace cli
