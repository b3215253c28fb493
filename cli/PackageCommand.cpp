// shadow package --csv LIST.csv --source PRODUCT --common COMMON --dest RELEASE --os OS [--manifest FILE]
#include <sys/stat.h>

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Components.h"
#include "cli/FailureWatch.h"
#include "cli/FolderChecks.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/Manifest.h"
#include "cli/ParameterTable.h"
#include "cli/StepRunner.h"
#include "cli/Text.h"

namespace cli {

namespace {

struct PackageOptions {
    std::string csv, source, common, destination, os, manifest;
    bool verbose = false;
    bool help = false;
};

PackageOptions ParsePackage(const Arguments& args) {
    PackageOptions o;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (IsHelpOption(arg)) o.help = true;
        else if (arg == "--verbose" || arg == "-v") o.verbose = true;
        else if (TakeOption(args, i, "--csv", o.csv, "a file name") ||
                 TakeOption(args, i, "--source", o.source, "a folder") ||
                 TakeOption(args, i, "--common", o.common, "a folder") ||
                 TakeOption(args, i, "--dest", o.destination, "a folder") ||
                 TakeOption(args, i, "--os", o.os, "a platform") ||
                 TakeOption(args, i, "--manifest", o.manifest, "a file name")) {
        } else
            throw UsageError("unexpected argument " + arg +
                             " for package; valid options: --csv, --source, --common, --dest, --os, --manifest, "
                             "--verbose");
    }
    if (o.help) return o;
    for (const auto& [value, name] : {std::pair{&o.csv, "--csv"}, {&o.source, "--source"}, {&o.common, "--common"},
                                      {&o.destination, "--dest"}, {&o.os, "--os"}})
        if (value->empty()) throw UsageError(std::string("package: missing ") + name);
    return o;
}

// The platform keys of the step, in its order. A shorter name stands for
// every key it begins (WIN: both Windows platforms), compared case-blind.
constexpr const char* kPlatforms[] = {"WIN32", "WIN64", "MAC", "LIN32", "LIN64", "ARM64", "ARM32"};

void CheckPlatform(const std::string& os) {
    for (const char* key : kPlatforms) {
        const size_t length = std::min(os.size(), std::strlen(key));
        if (strncasecmp(os.c_str(), key, length) == 0) return;
    }
    throw UsageError("package: --os " + os + " names no platform; valid: WIN32, WIN64, MAC, LIN32, LIN64, ARM64, "
                     "ARM32 (WIN, LIN and ARM name both of a kind)");
}

void CheckFile(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) throw Failure("components list not found: " + path);
}

// The release folder is made when its parent exists.
void MakeReleaseFolder(const std::string& destination) {
    CheckDestinationFolder(destination);
    if (::mkdir(destination.c_str(), 0777) != 0 && errno != EEXIST)
        throw Failure("cannot make the release folder " + destination);
}

} // namespace

int PackageCommand(const Arguments& args) {
    PackageOptions o = ParsePackage(args);
    if (o.help) {
        std::fputs(PackageHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    const std::string csv = AbsolutePath(o.csv), source = AbsolutePath(o.source), common = AbsolutePath(o.common),
                      destination = AbsolutePath(o.destination);
    CheckPlatform(o.os);
    CheckFile(csv);
    CheckSourceFolder(source);
    CheckSourceFolder(common);
    CheckFoldersApart(source, destination);
    CheckFoldersApart(common, destination);
    MakeReleaseFolder(destination);

    auto runtime = HostRuntime::Start();
    FailureWatch failures(*runtime);
    std::wstring name;
    auto step = CreateModuleComponent(*runtime, L"ShadowVelmix", &name);
    auto parameters = step.Query<IParameters>();
    if (!parameters) throw Failure("the ShadowVelmix step has no parameters");
    const std::vector<ParameterInfo> all = ReadParameters(parameters.Get());
    PutTextParameter(*runtime, parameters.Get(), all, L"SourceCSV", WideArgument(csv));
    PutTextParameter(*runtime, parameters.Get(), all, L"SourcePath", WideArgument(source));
    PutTextParameter(*runtime, parameters.Get(), all, L"CommonSourcePath", WideArgument(common));
    PutTextParameter(*runtime, parameters.Get(), all, L"DestinationPath", WideArgument(destination));
    // A platform is a choice of the step, given by name (any case; WIN
    // stands for both Windows platforms).
    PutTextParameter(*runtime, parameters.Get(), all, L"OS", WideArgument(o.os));

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(o.verbose), name);
    auto workspace = BindLineDisplay(*runtime, step.Get(), static_cast<IUILineDisplayable*>(monitor.Get()));
    StepOutcome outcome = RunStep(step.Get(), monitor.Get());
    const int code = ExitCodeOf(outcome, monitor.Get(), "package", &failures, o.verbose);
    if (code == EXIT_SUCCESS_CODE && !o.manifest.empty()) {
        WriteManifest(*runtime, destination, o.manifest);
        std::printf("manifest %s (check with: cd %s && sha256sum -c %s)\n", o.manifest.c_str(), destination.c_str(),
                    AbsolutePath(o.manifest).c_str());
    }
    return code;
}

} // namespace cli
