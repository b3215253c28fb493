// Running the built `shadow` program with captured output, and temporary
// folder trees for it to work on.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "support/TempFolder.h"

namespace clitest {

struct CliResult {
    int exitCode = -1; // 128 + signal when the program was killed
    std::string out;
    std::string err;
};

// The built program.
std::string ShadowPath();

// Runs `shadow` with the arguments and waits for it; stdin is /dev/null.
CliResult RunShadow(const std::vector<std::string>& args);

// Runs `shadow` with the arguments in the working folder `folder`, so that
// relative paths are read against it.
CliResult RunShadowIn(const std::filesystem::path& folder, const std::vector<std::string>& args);

// Runs `shadow` as the user nobody (only root can), with no event log file.
CliResult RunShadowAsNobody(const std::vector<std::string>& args);

// Runs `shadow` with its stdout on a pseudo terminal of the given width;
// `out` holds what the terminal received.
CliResult RunShadowOnTerminal(const std::vector<std::string>& args, int columns);

// The lines a terminal shows after receiving `raw`: carriage returns go back
// to the start of the line and the erase-to-end sequence clears the rest.
std::vector<std::string> VisibleLines(const std::string& raw);

// A `shadow` process running in the background with its output going to
// files, for tests that signal it.
class BackgroundShadow final {
public:
    explicit BackgroundShadow(const std::vector<std::string>& args);
    ~BackgroundShadow();
    BackgroundShadow(const BackgroundShadow&) = delete;
    BackgroundShadow& operator=(const BackgroundShadow&) = delete;

    pid_t Pid() const { return m_pid; }
    // What the program has written to stdout so far.
    std::string OutputSoFar() const;
    // Waits for the end and returns the exit code and the whole output.
    CliResult Wait();

private:
    pid_t m_pid = -1;
    std::string m_outPath;
    std::string m_errPath;
};

using testsupport::TempFolder;

// Writes a file (and the folders above it).
void WriteFile(const std::filesystem::path& path, const std::string& content);
std::string ReadFile(const std::filesystem::path& path);
// Sets a file's modification time relative to now.
void SetAge(const std::filesystem::path& path, std::chrono::seconds age);

// The relative paths of all files and folders below `root`, sorted.
std::vector<std::string> TreeListing(const std::filesystem::path& root);

// True when `diff -r` finds the two trees equal.
bool TreesEqual(const std::filesystem::path& a, const std::filesystem::path& b);

// Number of occurrences of `needle` in `text`.
size_t CountOf(const std::string& text, const std::string& needle);

} // namespace clitest
