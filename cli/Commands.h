// The commands of the `shadow` program. Each takes the arguments after the
// command's name and returns the exit code; usage errors and failures are
// thrown as CliError.
#pragma once

#include <string>
#include <vector>

namespace cli {

using Arguments = std::vector<std::string>;

int MirrorCommand(const Arguments& args);
int RunCommand(const Arguments& args);
int ListCommand(const Arguments& args);
int ConvertCommand(const Arguments& args);
int GetCommand(const Arguments& args);
int SelectiveCommand(const Arguments& args);
int PackageCommand(const Arguments& args);
int UploadCommand(const Arguments& args);
int VerbsCommand(const Arguments& args);
int VerbCommand(const Arguments& args);
int SyncCommand(const Arguments& args);
int FasCommand(const Arguments& args);

// Help texts.
const char* GeneralHelp();
const char* MirrorHelp();
const char* RunHelp();
const char* ListHelp();
const char* ConvertHelp();
const char* GetHelp();
const char* SelectiveHelp();
const char* PackageHelp();
const char* UploadHelp();
const char* VerbsHelp();
const char* VerbHelp();
const char* SyncHelp();
const char* FasHelp();

// When args[i] is the option `name`, given as "NAME VALUE" or "NAME=VALUE":
// stores the value, moves `i` to the last argument used and returns true.
// A missing value is a usage error, and so is an empty one when `needs`
// says what the option needs ("a file name").
bool TakeOption(const Arguments& args, size_t& i, const std::string& name, std::string& value,
                const char* needs = nullptr);

// True for "--help" and "-h".
bool IsHelpOption(const std::string& arg);

// The argument as wide text; a usage error when it is not valid UTF-8.
std::wstring WideArgument(const std::string& arg);

// Whether lines are shown as a live status line: on a terminal, unless
// every line was asked for.
bool UseLiveStatus(bool verbose);

} // namespace cli
