// shadow fas create SIDE FILE
#include <cstdio>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/FailureWatch.h"
#include "cli/HostRuntime.h"
#include "cli/SideNames.h"

namespace cli {

int FasCommand(const Arguments& args) {
    if (!args.empty() && IsHelpOption(args[0])) {
        std::fputs(FasHelp(), stdout);
        return EXIT_SUCCESS_CODE;
    }
    if (args.empty() || args[0] != "create")
        throw UsageError("fas: expected \"create SIDE FILE\"" +
                         (args.empty() ? std::string() : " (unknown action \"" + args[0] + "\")"));
    if (args.size() != 3) throw UsageError("fas create: expected SIDE FILE");
    const std::string side = SideArgument(args[1], "SIDE");
    const std::string& file = args[2];
    CheckRelativeName(file, "fas create: FILE");

    auto runtime = HostRuntime::Start();
    auto utils = runtime->Create<IUIUtils>(L"UIUtils");
    if (!utils) throw Failure("the host runtime offers no UIUtils");
    FailureWatch failures(*runtime);
    int32_t files = 0;
    const HRESULT hr =
        utils->CreateSchemeFile(SideScheme(*runtime, side).Get(), runtime->NewString(WideArgument(file)).Get(), &files);
    for (const std::string& failure : failures.Failures()) std::fprintf(stderr, "shadow: %s\n", failure.c_str());
    if (FAILED(hr)) throw Failure("fas create: the scheme file " + file + " was not written");
    std::printf("%s: %d file%s\n", file.c_str(), files, files == 1 ? "" : "s");
    return EXIT_SUCCESS_CODE;
}

} // namespace cli
