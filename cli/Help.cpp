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
           "  selective SRC_ROOT DST_ROOT ENTRY... [--clean] [--all] [--flat] [--load|--save LIST.xml]\n"
           "        mirror chosen folders and files below SRC_ROOT into DST_ROOT\n"
           "  package --csv LIST.csv --source DIR --common DIR --dest DIR --os OS [--manifest FILE]\n"
           "        assemble a release folder per platform from a components list\n"
           "  run COMPONENT [Name=Value ...] [--load FILE.xml] [--save FILE.xml] [--verbose]\n"
           "        set a component's parameters and run it\n"
           "  list [COMPONENT]\n"
           "        show the module's components and their parameters\n"
           "  verbs COMPONENT\n"
           "        show the verbs a component offers\n"
           "  verb COMPONENT VERB [Name=Value ...] [--verbose]\n"
           "        set a component's parameters and perform one of its verbs\n"
           "  convert IN OUT [--compress] [--encrypt --key-file F] [--sha256] [--base64] [--revert] ...\n"
           "        protect or restore a file (or, with --zip, a folder)\n"
           "  get URL [--cache DIR] [--run] [--arg TEXT] [--verbose]\n"
           "        download one file into the cache folder\n"
           "  upload SRC_FOLDER DEST [--keep] [--verbose]\n"
           "        send the files of a folder to a folder or URL, then remove them\n"
           "  sync update|update-all|install|install-all|commit SERVER CLIENT [--fas FILE]\n"
           "        bring a client folder in step with a server by the server's scheme file\n"
           "  fas create SIDE FILE\n"
           "        write the scheme file of a folder or URL\n"
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
    return "usage: shadow run COMPONENT [Name=Value ...] [--load FILE.xml] [--save FILE.xml]\n"
           "                 [--output Name=PATH ...] [--verbose]\n"
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
           "  others           the text as it is; @PATH gives the file's content as a\n"
           "                   data stream (and, to a component that reads text, its\n"
           "                   bytes as characters 0-255); @@TEXT stands for @TEXT\n"
           "\n"
           "After the run, parameters whose value the component changed (its\n"
           "outputs) are printed as Name=Value lines. --output Name=PATH (repeatable)\n"
           "writes a parameter to PATH after a successful run: a data stream as its\n"
           "bytes, a text as UTF-8.\n"
           "Ctrl-C stops the component; a second Ctrl-C quits at once.\n";
}

const char* ConvertHelp() {
    return "usage: shadow convert IN OUT [options]\n"
           "       shadow convert --zip FOLDER OUT [options]\n"
           "       shadow convert --revert --unzip DIR IN [options]\n"
           "\n"
           "Passes the file IN through the STREAMConvert step and writes the result to\n"
           "OUT. Forward, the layers are applied in the order compression, encryption,\n"
           "authentication, MIME coding; --revert undoes them and needs the same\n"
           "options as the forward run (with --auto-header the header alone is enough).\n"
           "\n"
           "  --compress       compress (zlib format)\n"
           "  --compress-raw   compress (raw deflate)\n"
           "  --encrypt        encrypt and authenticate with a key: the one from\n"
           "                   --key-file F (its trailing line end is not part of the\n"
           "                   key) or --key-env VAR, else the key configured in the\n"
           "                   host's settings\n"
           "  --sha256         append a SHA-256 (keyed when a key is configured) and\n"
           "                   check it on --revert\n"
           "  --base64, --hex, --base64-wide\n"
           "                   MIME coding; --base64-wide writes 32-bit characters\n"
           "  --header TEXT    write TEXT in front of the result; on --revert the input\n"
           "                   must start with TEXT, which is removed first\n"
           "  --auto-header    write a header that records the layers\n"
           "  --revert         restore the original bytes\n"
           "  --zip FOLDER     the input is FOLDER, packed as one zip archive\n"
           "  --unzip DIR      with --revert: unpack the restored archive into DIR\n"
           "                   (existing files are never replaced)\n"
           "  --force          replace OUT when it exists\n"
           "\n"
           "OUT is written to a work file and renamed into place when complete; a\n"
           "failed run leaves it as it was. Reasons for a failure (a wrong key, a\n"
           "changed or truncated input) are printed on stderr and kept in the event log.\n"
           "\n"
           "Exit codes: 0 success, 1 the conversion failed, 2 the command line cannot\n"
           "be used as given.\n";
}

const char* SyncHelp() {
    return "usage: shadow sync MODE SERVER CLIENT [--fas FILE] [--verbose]\n"
           "\n"
           "Runs the ShadowList step between SERVER (a folder or a URL) and CLIENT\n"
           "(a local folder) by the scheme file FILE that SERVER keeps (default\n"
           "scheme.fas; write one with 'shadow fas create').\n"
           "\n"
           "  update        fetch the files whose content differs from the client's\n"
           "  update-all    fetch every file the scheme file names\n"
           "  install       fetch into a staging folder, check every file, then put\n"
           "                them in place and remove files an earlier install placed\n"
           "                that the scheme file no longer names; all or nothing\n"
           "  install-all   as install, fetching every file\n"
           "  commit        send the client's changed files to SERVER, then the next\n"
           "                scheme file; refused when SERVER moved on since the\n"
           "                client's last update\n"
           "\n"
           "Every file is checked against the scheme file's size and SHA-256 before\n"
           "it is put in place. A client file changed since the last update is never\n"
           "replaced: the server's version is saved beside it as NAME.fas-new. A\n"
           "scheme file older than the one the client has is refused. The client\n"
           "keeps its state in CLIENT/.fas-state.\n"
           "\n"
           "A URL must not hold a password: put the login in ~/.netrc.\n"
           "Exit codes: 0 the action completed, 1 it failed (the reasons are printed\n"
           "and kept in the event log), 2 bad arguments, 130 interrupted.\n";
}

const char* FasHelp() {
    return "usage: shadow fas create SIDE FILE\n"
           "\n"
           "Writes the scheme file FILE (a name relative to SIDE) describing every\n"
           "file of SIDE, a folder or a URL: path, size, time, mode and SHA-256,\n"
           "with the serial after the one of the FILE already there.\n";
}

const char* GetHelp() {
    return "usage: shadow get URL [--cache DIR] [--run] [--arg TEXT] [--verbose]\n"
           "\n"
           "Downloads one file through the URLGet step into the cache folder and\n"
           "prints where it went. A URL that starts with http:// is taken as it is;\n"
           "anything else (https:// included) is a name under the default download\n"
           "location, and a name without a '.' gets the extension .xWS.\n"
           "\n"
           "  --cache DIR  the cache folder (created when missing; its parent must\n"
           "               exist); by default the folder wwwExchange of the\n"
           "               installation folder named in the settings ([Workspace]\n"
           "               InstallPath), or of this program's folder when none is set\n"
           "  --run        start the downloaded file when it is a workspace (.xWS),\n"
           "               through the program the settings name for it\n"
           "               ([FileHandlers] xWS=PROGRAM %f); other files are only\n"
           "               downloaded\n"
           "  --arg TEXT   with --run: words added after the file\n"
           "  --verbose    print every line (the default when the output is not a\n"
           "               terminal; on a terminal a progress bar is shown)\n"
           "\n"
           "The file is written under a work name and renamed when it has arrived\n"
           "whole; a file of the same name is replaced only then. An interrupted\n"
           "download (Ctrl-C, a lost connection, a server that stops sending for 5 s)\n"
           "keeps what arrived, and the same get resumes it when the server allows.\n"
           "Why a download failed (the server's answer, a refused connection, a\n"
           "stalled transfer, a full disk) is printed on stderr and kept in the\n"
           "event log.\n"
           "\n"
           "Exit codes: 0 the file arrived whole (and, with --run, was started),\n"
           "1 it did not, 2 the command line cannot be used as given, 130\n"
           "interrupted.\n";
}

const char* SelectiveHelp() {
    return "usage: shadow selective SRC_ROOT DST_ROOT ENTRY... [--clean] [--all] [--flat] [--verbose]\n"
           "       shadow selective --load LIST.xml [SRC_ROOT DST_ROOT [ENTRY...]] [options]\n"
           "       ... [--save LIST.xml [--no-run]]\n"
           "\n"
           "Mirrors each ENTRY, a folder or a file named relative to both roots, from\n"
           "SRC_ROOT into the same place under DST_ROOT through the ShadowSelective\n"
           "step: a folder as 'shadow mirror' would (with --clean, --all and --flat as\n"
           "there), a file by itself. One summary is printed for the whole list.\n"
           "\n"
           "  --load LIST.xml  read the roots, switches and entries from a list file;\n"
           "                   roots and entries given on the command line replace\n"
           "                   the file's\n"
           "  --save LIST.xml  write the list, after the command line is applied,\n"
           "                   then run it (--no-run: only write it)\n"
           "\n"
           "A file entry is copied only into a folder that exists under DST_ROOT;\n"
           "otherwise, as for every copy that fails, the reason is printed on stderr\n"
           "and the exit code is 1. Entries must stay below the roots (no '..').\n"
           "\n"
           "Exit codes: 0 success, 1 something could not be mirrored, 2 the command\n"
           "line or the folders cannot be used as given, 130 interrupted.\n";
}

const char* UploadHelp() {
    return "usage: shadow upload SRC_FOLDER DEST [--keep] [--verbose]\n"
           "\n"
           "Sends the files directly in SRC_FOLDER (not its sub-folders) to DEST\n"
           "through the ShadowUpload step, one after the other, and removes each\n"
           "file sent from SRC_FOLDER. A file that changed after it was listed is\n"
           "not removed.\n"
           "\n"
           "DEST is a folder or a file:// URL, or an http://, https:// (WebDAV),\n"
           "ftp://, ftps:// or sftp:// URL; every URL other than file:// goes\n"
           "through the URLhttp scheme. Each file arrives under a work name and\n"
           "takes its own name only when complete.\n"
           "\n"
           "A URL may name the user (sftp://user@host/dir); the password comes\n"
           "from ~/.netrc, never from the command line: a URL with a password is\n"
           "refused.\n"
           "\n"
           "  --keep      leave the files in SRC_FOLDER\n"
           "  --verbose   show every line, not a live status line\n"
           "\n"
           "Exit codes: 0 every file was sent, 1 a file could not be read, sent\n"
           "or removed, 2 the command line cannot be used as given.\n";
}

const char* PackageHelp() {
    return "usage: shadow package --csv LIST.csv --source PRODUCT --common COMMON --dest RELEASE\n"
           "                     --os OS [--manifest FILE] [--verbose]\n"
           "\n"
           "Assembles the release folder RELEASE through the ShadowVelmix step: for\n"
           "each platform OS names, the modules LIST.csv lists (first column) from\n"
           "PRODUCT/_bin<OS>/ and the platform's runner, then the common files of\n"
           "COMMON (vmCmn, icons, help, slides) and the files of the list's second\n"
           "column. OS is one of WIN32, WIN64, MAC, LIN32, LIN64, ARM64, ARM32, in any\n"
           "case; WIN, LIN and ARM name both platforms of a kind. RELEASE is made when\n"
           "its parent exists. 'shadow run ShadowVelmixList FileName=LIST.csv' writes\n"
           "the list of the modules in use.\n"
           "\n"
           "  --manifest FILE  after the run, write the SHA-256 of every file of the\n"
           "                   release, in the form 'sha256sum -c' checks from RELEASE\n"
           "\n"
           "Exit codes: 0 success, 1 a file could not be copied, 2 the command line or\n"
           "the folders cannot be used as given.\n";
}

const char* ListHelp() {
    return "usage: shadow list [COMPONENT]\n"
           "\n"
           "Lists the components the module offers, or only COMPONENT, with their\n"
           "parameters: kind, default value, flags and, for a choice, its items;\n"
           "and the inputs the component can be bound to.\n";
}

const char* VerbsHelp() {
    return "usage: shadow verbs COMPONENT\n"
           "\n"
           "Lists the verbs COMPONENT offers its user, in order: each with its action\n"
           "code; a separator between groups is shown as \"-\".\n";
}

const char* VerbHelp() {
    return "usage: shadow verb COMPONENT VERB [Name=Value ...] [--verbose]\n"
           "\n"
           "Creates the component, sets the parameters named on the command line (as\n"
           "'shadow run' does) and performs the verb VERB ('shadow verbs COMPONENT'\n"
           "lists them; the name is matched without regard to ASCII case). The lines\n"
           "the component writes are shown, and the parameters the verb changed are\n"
           "printed as Name=Value afterwards.\n"
           "\n"
           "A verb the component leaves to its host is performed here when the command\n"
           "line has a default for it: \"Run\" runs the component as 'shadow run' does.\n"
           "Any other such verb is reported as not available.\n"
           "\n"
           "Exit codes: 0 success, 1 the verb failed, reported an error or is not\n"
           "available, 2 the command line cannot be used as given (an unknown verb\n"
           "included), 130 interrupted.\n";
}

bool IsHelpOption(const std::string& arg) { return arg == "--help" || arg == "-h"; }

std::wstring WideArgument(const std::string& arg) {
    auto wide = FromUtf8(arg);
    if (!wide) throw UsageError("argument \"" + arg + "\" is not valid UTF-8 text");
    return *wide;
}

bool UseLiveStatus(bool verbose) { return !verbose && isatty(STDOUT_FILENO) == 1; }

} // namespace cli
