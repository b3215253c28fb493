// shadow sync update|update-all|install|install-all|commit SERVER CLIENT [--fas FILE] [--verbose]
#include <cstdio>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Components.h"
#include "cli/FailureWatch.h"
#include "cli/FolderChecks.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/ParameterTable.h"
#include "cli/SideNames.h"
#include "cli/StepRunner.h"
#include "cli/Text.h"

namespace cli {

namespace {

// The "RunAction" choices of the ShadowList step, by the command's words.
constexpr struct {
    const char* word;
    int32_t action;
} kModes[] = {
    {"update", 0}, {"update-all", 1}, {"install", 2}, {"install-all", 3}, {"commit", 4},
};

struct SyncOptions {
    int32_t action = -1;
    std::string server;
    std::string client;
    std::string fas;
    bool verbose = false;
    bool help = false;
};

SyncOptions ParseSync(const Arguments& args) {
    SyncOptions o;
    std::vector<std::string> words;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
            if (arg == "--") optionsEnded = true;
            else if (IsHelpOption(arg)) o.help = true;
            else if (arg == "--verbose" || arg == "-v") o.verbose = true;
            else if (TakeOption(args, i, "--fas", o.fas, "a scheme file name")) {
            } else
                throw UsageError("unknown option " + arg + " for sync; valid options: --fas, --verbose");
            continue;
        }
        words.push_back(arg);
    }
    if (o.help) return o;
    if (words.size() != 3) throw UsageError("sync: expected MODE SERVER CLIENT");
    for (const auto& mode : kModes)
        if (words[0] == mode.word) o.action = mode.action;
    if (o.action < 0)
        throw UsageError("sync: unknown mode \"" + words[0] +
                         "\"; valid modes: update, update-all, install, install-all, commit");
    o.server = SideArgument(words[1], "SERVER");
    if (IsUrl(words[2])) throw UsageError("sync: CLIENT must be a local folder, not " + words[2]);
    o.client = SideArgument(words[2], "CLIENT");
    CheckSourceFolder(o.client);
    if (!IsUrl(o.server)) CheckSourceFolder(o.server);
    if (!o.fas.empty()) CheckRelativeName(o.fas, "sync: --fas");
    return o;
}

} // namespace

int SyncCommand(const Arguments& args) {
    const SyncOptions o = ParseSync(args);
    if (o.help) {
        std::fputs(SyncHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    auto runtime = HostRuntime::Start();
    std::wstring name;
    auto step = CreateModuleComponent(*runtime, L"ShadowList", &name);
    auto parameters = step.Query<IParameters>();
    if (!parameters) throw Failure("the ShadowList step has no parameters");
    const std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
    PutTextParameter(*runtime, parameters.Get(), all, L"Source(Server)", WideArgument(o.server));
    PutTextParameter(*runtime, parameters.Get(), all, L"Destination(Client)", WideArgument(o.client));
    PutTextParameter(*runtime, parameters.Get(), all, L"FASFile", WideArgument(o.fas));
    PutIntegerParameter(*runtime, parameters.Get(), all, L"RunAction", o.action);

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(o.verbose), name);
    auto workspace = BindLineDisplay(*runtime, step.Get(), static_cast<IUILineDisplayable*>(monitor.Get()));
    FailureWatch failures(*runtime);
    // The step is synchronous: it runs on a thread of its own so that this
    // one sees Ctrl-C and turns it off, which stops the service: an install
    // then places nothing, a commit writes no scheme file, an update keeps
    // only files that arrived whole.
    auto stepFace = step.Query<IStep>();
    if (!stepFace) throw Failure("the ShadowList component is no step");
    const StepOutcome outcome = RunStoppable(step.Get(), monitor.Get(), [&] { return stepFace->TurnOn(); });
    return ExitCodeOf(outcome, monitor.Get(), ToUtf8(name), &failures, o.verbose);
}

} // namespace cli
