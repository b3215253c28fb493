#include <unistd.h>

#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/Text.h"

namespace cli {

const char* GeneralHelp() {
    return "usage: shadow <command> [arguments]\n"
           "\n"
           "Commands:\n"
           "  mirror SRC DST [--clean [--max-delete N]] [--all] [--flat] [--dry-run] [--verbose]\n"
           "        mirror the folder SRC into the folder DST\n"
           "  run COMPONENT [Name=Value ...] [--load FILE.xml] [--save FILE.xml] [--verbose]\n"
           "        set a component's parameters and run it\n"
           "  list [COMPONENT]\n"
           "        show the module's components and their parameters\n"
           "\n"
           "'shadow <command> --help' describes a command.\n"
           "\n"
           "Exit codes: 0 success, 1 the run failed or reported an error,\n"
           "2 the command line cannot be used as given, 130 interrupted.\n";
}

const char* MirrorHelp() {
    return "usage: shadow mirror SRC DST [--clean [--max-delete N]] [--all] [--flat] [--dry-run] [--verbose]\n"
           "\n"
           "Copies the files of the folder SRC that DST lacks or holds in an older\n"
           "version into DST, with its sub-folders, creating DST when it is missing.\n"
           "\n"
           "  --clean         also delete from DST what SRC no longer holds\n"
           "  --max-delete N  with --clean: work out the deletions first and change\n"
           "                  nothing when there would be more than N (files and\n"
           "                  folders counted alike)\n"
           "  --all           copy every file, also those that are up to date in DST\n"
           "  --flat          leave sub-folders alone\n"
           "  --dry-run       print what would be copied, created, skipped and deleted,\n"
           "                  one line each, and change nothing\n"
           "  --verbose       print every line of the run (the default when the output\n"
           "                  is not a terminal; on a terminal a status line is shown)\n"
           "\n"
           "At the end the numbers of files and bytes copied (and deleted) are printed.\n"
           "SRC and DST must be different folders, neither inside the other (also not\n"
           "through a link or a mount point), and must differ in more than letter case.\n"
           "--clean from a SRC that holds nothing at all, which is what a disk that is\n"
           "not mounted looks like, deletes only with an explicit --max-delete.\n"
           "\n"
           "Files that could not be copied or deleted, folders that could not be made\n"
           "or listed and names that cannot be mirrored are listed on stderr after the\n"
           "run (the first five; all with --verbose) and kept in the event log.\n"
           "\n"
           "Exit codes: 0 success, 1 the run failed, something could not be mirrored\n"
           "or --max-delete refused the run, 2 the command line or the folders cannot\n"
           "be used as given, 130 interrupted.\n";
}

const char* RunHelp() {
    return "usage: shadow run COMPONENT [Name=Value ...] [--load FILE.xml] [--save FILE.xml] [--verbose]\n"
           "\n"
           "Creates the component, loads its parameters from FILE.xml when --load is\n"
           "given, sets the parameters named on the command line, saves them to\n"
           "FILE.xml when --save is given, and runs the component.\n"
           "\n"
           "Parameter names are matched without regard to the case of ASCII letters.\n"
           "Values are read by the parameter's kind ('shadow list COMPONENT' shows it):\n"
           "  integer, switch  a whole number, such as 0, 1 or -5\n"
           "  choice           the name of a choice (any case) or its number from 0\n"
           "  number           a decimal number, such as 2.5\n"
           "  others           the text as it is\n"
           "\n"
           "After the run, parameters whose value the component changed (its\n"
           "outputs) are printed as Name=Value lines.\n"
           "Ctrl-C stops the component; a second Ctrl-C quits at once.\n";
}

const char* ListHelp() {
    return "usage: shadow list [COMPONENT]\n"
           "\n"
           "Lists the components the module offers, or only COMPONENT, with their\n"
           "parameters: kind, default value, flags and, for a choice, its items;\n"
           "and the inputs the component can be bound to.\n";
}

bool IsHelpOption(const std::string& arg) { return arg == "--help" || arg == "-h"; }

std::wstring WideArgument(const std::string& arg) {
    auto wide = FromUtf8(arg);
    if (!wide) throw UsageError("argument \"" + arg + "\" is not valid UTF-8 text");
    return *wide;
}

bool UseLiveStatus(bool verbose) { return !verbose && isatty(STDOUT_FILENO) == 1; }

} // namespace cli
