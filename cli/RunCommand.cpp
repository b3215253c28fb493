// shadow run COMPONENT [Name=Value ...] [--load FILE.xml] [--save FILE.xml] [--verbose]
#include <sys/stat.h>

#include <cstdio>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Components.h"
#include "cli/FailureWatch.h"
#include "cli/FileStreams.h"
#include "cli/FolderChecks.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/ParameterFile.h"
#include "cli/ParameterTable.h"
#include "cli/StepRunner.h"
#include "cli/Text.h"

namespace cli {

namespace {

struct RunOptions {
    std::string component;
    std::vector<std::wstring> assignments;
    std::string load;
    std::string save;
    // "--output Name=PATH": parameters written to files after the run.
    std::vector<std::pair<std::wstring, std::string>> outputs;
    bool verbose = false;
    bool help = false;
};

RunOptions ParseRun(const Arguments& args) {
    RunOptions options;
    bool haveComponent = false;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
            if (arg == "--") optionsEnded = true;
            else if (IsHelpOption(arg)) options.help = true;
            else if (arg == "--verbose" || arg == "-v") options.verbose = true;
            else if (TakeOption(args, i, "--load", options.load, "a file name")) continue;
            else if (TakeOption(args, i, "--save", options.save, "a file name")) continue;
            else if (std::string output; TakeOption(args, i, "--output", output, "a file name")) {
                size_t equals = output.find('=');
                if (equals == std::string::npos || equals == 0 || equals + 1 == output.size())
                    throw UsageError("malformed --output " + output + ": expected Name=PATH");
                options.outputs.emplace_back(WideArgument(output.substr(0, equals)), output.substr(equals + 1));
            } else
                throw UsageError("unknown option " + arg +
                                 " for run; valid options: --load, --save, --output, --verbose");
            continue;
        }
        if (!haveComponent) {
            options.component = arg;
            haveComponent = true;
        } else {
            options.assignments.push_back(WideArgument(arg));
        }
    }
    if (!options.help && !haveComponent) throw UsageError("run: missing argument COMPONENT");
    return options;
}

std::wstring TextParameter(IParameters* parameters, const wchar_t* name) {
    std::vector<ParameterInfo> all = ReadParameters(parameters);
    const ParameterInfo* parameter = FindParameter(all, name);
    return parameter && parameter->valueType == VARIANT_STRING ? parameter->value : std::wstring();
}

// A mirroring run must not copy a folder into itself or clean away its own
// source; the same guard as for `shadow mirror`.
void CheckMirrorFolders(IParameters* parameters) {
    std::string source = ToUtf8(TextParameter(parameters, L"SourcePath"));
    std::string destination = ToUtf8(TextParameter(parameters, L"DestinationPath"));
    struct stat info;
    if (source.empty() || destination.empty() || stat(source.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return;
    CheckFoldersApart(WithoutTrailingSlash(source), WithoutTrailingSlash(destination));
}

// Writes each "--output Name=PATH" parameter to its file.
void WriteOutputs(const HostRuntime& runtime, IParameters* parameters,
                  const std::vector<std::pair<std::wstring, std::string>>& outputs) {
    std::vector<ParameterInfo> all = ReadParameters(parameters);
    for (const auto& [name, path] : outputs) {
        const ParameterInfo& parameter = RequireParameter(all, name);
        IPtr<IVariant> value;
        parameters->get_ItemVariant(parameter.index, value.Out());
        SaveValueToFile(runtime, value.Get(), ToUtf8(parameter.name), path);
    }
}

// Prints the parameters whose value the run changed (a component's outputs),
// as Name=Value lines.
void PrintChangedParameters(const std::vector<ParameterInfo>& before, IParameters* parameters) {
    std::vector<ParameterInfo> after = ReadParameters(parameters);
    for (const ParameterInfo& now : after) {
        const ParameterInfo* old = FindParameter(before, now.name);
        if (old && old->valueType == now.valueType && old->value == now.value) continue;
        std::printf("%s=%s\n", ToUtf8(now.name).c_str(), ToUtf8(now.value).c_str());
    }
    std::fflush(stdout);
}

} // namespace

int RunCommand(const Arguments& args) {
    RunOptions options = ParseRun(args);
    if (options.help) {
        std::fputs(RunHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    auto runtime = HostRuntime::Start();
    std::wstring name;
    auto component = CreateModuleComponent(*runtime, WideArgument(options.component), &name);
    auto parameters = component.Query<IParameters>();
    if (!parameters && !options.assignments.empty())
        throw UsageError("component " + ToUtf8(name) + " has no parameters to set");

    if (!options.load.empty()) LoadParameterFile(*runtime, component.Get(), options.load);
    if (!options.outputs.empty() && !parameters)
        throw UsageError("component " + ToUtf8(name) + " has no parameters to write out");
    if (parameters) {
        std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
        for (const auto& output : options.outputs) RequireParameter(all, output.first);
        ApplyAssignments(*runtime, parameters.Get(), options.assignments);
        if (name == L"Shadow") CheckMirrorFolders(parameters.Get());
    }
    if (!options.save.empty()) SaveParameterFile(*runtime, component.Get(), options.save);

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(options.verbose), name);
    auto workspace = BindLineDisplay(*runtime, component.Get(), static_cast<IUILineDisplayable*>(monitor.Get()));
    std::vector<ParameterInfo> before = ReadParameters(parameters.Get());
    FailureWatch failures(*runtime);
    StepOutcome outcome = RunStep(component.Get(), monitor.Get());
    if (parameters) PrintChangedParameters(before, parameters.Get());
    int code = ExitCodeOf(outcome, monitor.Get(), ToUtf8(name), &failures, options.verbose);
    if (code == EXIT_SUCCESS_CODE && parameters) WriteOutputs(*runtime, parameters.Get(), options.outputs);
    return code;
}

} // namespace cli
