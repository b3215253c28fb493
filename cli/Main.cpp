// The `shadow` command line: mirrors folders and runs the module's
// components through the host runtime.
#include <cstdio>
#include <exception>
#include <string>

#include "cli/CliError.h"
#include "cli/Commands.h"

namespace {

constexpr char kCommands[] = "mirror, run, list, convert, get, selective, package, upload, verbs, verb, sync, fas";

int Dispatch(const cli::Arguments& args) {
    if (args.empty()) throw cli::UsageError(std::string("missing command; valid commands: ") + kCommands);
    const std::string& command = args[0];
    cli::Arguments rest(args.begin() + 1, args.end());
    if (cli::IsHelpOption(command) || command == "help") {
        std::fputs(cli::GeneralHelp(), stdout);
        return cli::EXIT_SUCCESS_CODE;
    }
    if (command == "mirror") return cli::MirrorCommand(rest);
    if (command == "run") return cli::RunCommand(rest);
    if (command == "list") return cli::ListCommand(rest);
    if (command == "convert") return cli::ConvertCommand(rest);
    if (command == "get") return cli::GetCommand(rest);
    if (command == "selective") return cli::SelectiveCommand(rest);
    if (command == "package") return cli::PackageCommand(rest);
    if (command == "upload") return cli::UploadCommand(rest);
    if (command == "verbs") return cli::VerbsCommand(rest);
    if (command == "verb") return cli::VerbCommand(rest);
    if (command == "sync") return cli::SyncCommand(rest);
    if (command == "fas") return cli::FasCommand(rest);
    throw cli::UsageError("unknown command \"" + command + "\"; valid commands: " + kCommands);
}

} // namespace

int main(int argc, char** argv) {
    cli::Arguments args(argv + 1, argv + argc);
    int code;
    try {
        code = Dispatch(args);
    } catch (const cli::CliError& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "shadow: %s\n", error.what());
        if (error.Code() == cli::EXIT_USAGE) std::fprintf(stderr, "Try 'shadow --help' for more information.\n");
        code = error.Code();
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "shadow: unexpected error: %s\n", error.what());
        code = cli::EXIT_FAILED;
    }
    std::fflush(stdout);
    return code;
}
