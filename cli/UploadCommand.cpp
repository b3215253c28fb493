// shadow upload SRC_FOLDER DEST [--keep] [--verbose]
//
// Sends the files directly in SRC_FOLDER (not its sub-folders) to DEST
// through the ShadowUpload step and, unless --keep, removes each file sent
// from SRC_FOLDER. DEST is a folder or a file:// URL (the "URLFile" scheme),
// or any other URL with "://" (http, https, ftp, ftps, sftp: all carried by
// the "URLhttp" scheme). A URL carries no password: the user name may stand
// in it, the password comes from ~/.netrc.
#include <sys/stat.h>

#include <cstdio>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Components.h"
#include "cli/FailureWatch.h"
#include "cli/HostRuntime.h"
#include "cli/LineMonitor.h"
#include "cli/ParameterTable.h"
#include "cli/SideNames.h"
#include "cli/StepRunner.h"
#include "cli/Text.h"

namespace cli {

namespace {

struct UploadOptions {
    std::string source;
    std::string destination;
    bool keep = false;
    bool verbose = false;
    bool help = false;
};

UploadOptions ParseUpload(const Arguments& args) {
    UploadOptions o;
    std::vector<std::string> operands;
    bool optionsEnded = false;
    for (const std::string& arg : args) {
        if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
            if (arg == "--") optionsEnded = true;
            else if (IsHelpOption(arg)) o.help = true;
            else if (arg == "--keep") o.keep = true;
            else if (arg == "--verbose" || arg == "-v") o.verbose = true;
            else throw UsageError("unknown option " + arg + " for upload; valid options: --keep, --verbose");
            continue;
        }
        operands.push_back(arg);
    }
    if (o.help) return o;
    if (operands.size() < 2) throw UsageError("upload: missing argument " + std::string(operands.empty() ? "SRC_FOLDER" : "DEST"));
    if (operands.size() > 2) throw UsageError("upload: one source folder and one destination (unexpected \"" + operands[2] + "\")");
    o.source = operands[0];
    o.destination = operands[1];
    return o;
}

// Binds the three inputs of the step in one workspace collection, which must
// live as long as the run.
IPtr<ISuperCollection> BindInputs(const HostRuntime& runtime, IUnknown* step, std::initializer_list<IUnknown*> objects) {
    auto inputs = QueryAs<IInputParameters>(step);
    auto bindable = QueryAs<IBindableObject>(step);
    auto workspace = runtime.Create<ISuperCollection>(L"SuperCollection");
    if (!inputs || !bindable || !workspace) throw Failure("the ShadowUpload step cannot be bound");
    int32_t index = 0;
    for (IUnknown* object : objects) {
        IPtr<IUnknown> item;
        auto name = runtime.NewString(L"UploadInput" + std::to_wstring(index));
        if (FAILED(inputs->get_Item(index++, item.Out())) || !item.Query<IInputParameter>())
            throw Failure("the ShadowUpload step lacks an input");
        item.Query<IInputParameter>()->put_SourceComponent(name.Get());
        workspace->Add(name.Get(), object, nullptr, 0);
    }
    bindable->Bind(workspace.Get(), nullptr);
    return workspace;
}

} // namespace

int UploadCommand(const Arguments& args) {
    UploadOptions o = ParseUpload(args);
    if (o.help) {
        std::fputs(UploadHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    o.destination = SideArgument(o.destination, "DEST");
    struct stat info {};
    if (::stat(o.source.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw UsageError("upload: the source folder " + o.source + " does not exist or is not a folder");

    auto runtime = HostRuntime::Start();
    auto source = runtime->Create<IFileNameCollection>(L"FileNameCollection");
    if (!source) throw Failure("the host runtime offers no FileNameCollection");
    source->put_Folder(runtime->NewString(WideArgument(o.source)).Get());
    if (FAILED(source->Scan())) throw Failure("upload: the source folder " + o.source + " cannot be read");
    int32_t count = 0;
    QueryAs<ISimpleCollection>(source.Get())->get_Count(&count);

    auto destination = SideScheme(*runtime, o.destination);

    std::wstring name;
    auto step = CreateModuleComponent(*runtime, L"ShadowUpload", &name);
    auto parameters = step.Query<IParameters>();
    if (!parameters) throw Failure("the ShadowUpload step has no parameters");
    PutIntegerParameter(*runtime, parameters.Get(), ReadParameters(parameters.Get()), L"DeleteUploadedFiles",
                        o.keep ? 0 : 1);

    auto monitor = LineMonitor::Create(*runtime, UseLiveStatus(o.verbose), name);
    monitor->ShowProgressBars();
    auto workspace = BindInputs(*runtime, step.Get(),
                                {source.Get(), destination.Get(), static_cast<IUILineDisplayable*>(monitor.Get())});
    FailureWatch failures(*runtime);
    StepOutcome outcome = RunStep(step.Get(), monitor.Get());
    const int code = ExitCodeOf(outcome, monitor.Get(), ToUtf8(name), &failures, o.verbose);

    int32_t sent = 0, deleted = 0;
    double bytes = 0, deletedBytes = 0;
    if (auto statistics = step.Query<IShadow>()) {
        statistics->GetCopyStatistics(&sent, &bytes);
        statistics->GetDeleteStatistics(&deleted, &deletedBytes);
    }
    std::printf("%d of %d file%s sent (%s)", sent, count, count == 1 ? "" : "s", ByteText(bytes).c_str());
    if (!o.keep) std::printf(", %d removed from %s", deleted, o.source.c_str());
    std::printf("\n");
    if (code == EXIT_SUCCESS_CODE && sent != count) return EXIT_FAILED;
    return code;
}

} // namespace cli
