#include "CliProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "support/Emulator.h"

extern char** environ;

namespace clitest {

namespace fs = std::filesystem;

namespace {

std::string TempFile(const char* tag) {
    std::string pattern = (fs::temp_directory_path() / (std::string("shadow-cli-") + tag + "-XXXXXX")).string();
    int fd = mkstemp(pattern.data());
    if (fd < 0) throw std::runtime_error("mkstemp failed");
    close(fd);
    return pattern;
}

// How `shadow` is started beyond its arguments.
struct SpawnOptions {
    int outFlags = O_WRONLY | O_TRUNC;
    std::vector<std::string> launcher; // a program (and its arguments) that starts shadow
    char** environment = environ;
    std::string folder; // the working folder; empty: this process's
};

pid_t Spawn(const std::vector<std::string>& args, const std::string& outPath, const std::string& errPath,
            const SpawnOptions& options = {}) {
    std::vector<std::string> copies(options.launcher);
    // The launcher (setpriv) starts the emulator, which starts shadow.
    for (std::string& word : testsupport::EmulatorWords()) copies.push_back(std::move(word));
    copies.push_back(ShadowPath());
    copies.insert(copies.end(), args.begin(), args.end());
    std::string program = copies.front();
    std::vector<char*> argv;
    for (std::string& a : copies) argv.push_back(a.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!options.folder.empty()) posix_spawn_file_actions_addchdir_np(&actions, options.folder.c_str());
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(), options.outFlags, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(), O_WRONLY | O_TRUNC, 0);
    pid_t pid = -1;
    // The emulator may be given by name only: look it up in PATH.
    int rc = posix_spawnp(&pid, program.c_str(), &actions, nullptr, argv.data(), options.environment);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) throw std::runtime_error("cannot start " + program + ": " + std::strerror(rc));
    return pid;
}

int WaitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

// Runs `shadow` to its end and collects its output.
CliResult RunToEnd(const std::vector<std::string>& args, const SpawnOptions& options) {
    const std::string outPath = TempFile("out"), errPath = TempFile("err");
    CliResult result;
    result.exitCode = WaitFor(Spawn(args, outPath, errPath, options));
    result.out = ReadFile(outPath);
    result.err = ReadFile(errPath);
    fs::remove(outPath);
    fs::remove(errPath);
    return result;
}

} // namespace

std::string ShadowPath() { return std::string(SHADOW_BUILD_DIR) + "/shadow"; }

CliResult RunShadow(const std::vector<std::string>& args) {
    BackgroundShadow process(args);
    return process.Wait();
}

CliResult RunShadowAsNobody(const std::vector<std::string>& args) {
    // nobody cannot write the usual event log: the failures it records are
    // still handed to the program's listener.
    std::vector<std::string> variables{"SHADOW_EVENT_LOG=/dev/null"};
    for (char** v = environ; *v; ++v)
        if (std::string_view(*v).rfind("SHADOW_EVENT_LOG=", 0) != 0) variables.emplace_back(*v);
    std::vector<char*> environment;
    for (std::string& v : variables) environment.push_back(v.data());
    environment.push_back(nullptr);

    SpawnOptions options;
    options.launcher = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"};
    options.environment = environment.data();
    return RunToEnd(args, options);
}

CliResult RunShadowIn(const fs::path& folder, const std::vector<std::string>& args) {
    SpawnOptions options;
    options.folder = folder.string();
    return RunToEnd(args, options);
}

CliResult RunShadowOnTerminal(const std::vector<std::string>& args, int columns) {
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) throw std::runtime_error("no pseudo terminal");
    std::string terminal = ptsname(master);
    struct winsize size = {};
    size.ws_row = 24;
    size.ws_col = static_cast<unsigned short>(columns);
    ioctl(master, TIOCSWINSZ, &size);

    std::string errPath = TempFile("err");
    SpawnOptions options;
    options.outFlags = O_WRONLY | O_NOCTTY;
    pid_t pid = Spawn(args, terminal, errPath, options);
    // Read until the program has ended and closed the terminal (EIO).
    CliResult result;
    char buffer[4096];
    for (;;) {
        ssize_t n = read(master, buffer, sizeof buffer);
        if (n > 0) result.out.append(buffer, static_cast<size_t>(n));
        else if (n < 0 && errno == EINTR) continue;
        else break;
    }
    result.exitCode = WaitFor(pid);
    close(master);
    result.err = ReadFile(errPath);
    fs::remove(errPath);
    return result;
}

std::vector<std::string> VisibleLines(const std::string& raw) {
    std::vector<std::string> lines;
    std::string current;
    for (size_t i = 0; i < raw.size(); ++i) {
        char c = raw[i];
        if (c == '\n') {
            lines.push_back(current);
            current.clear();
        } else if (c == '\r') {
            // The next text overwrites the line; the pty's "\r\n" keeps it.
            if (i + 1 < raw.size() && raw[i + 1] == '\n') continue;
            current.clear();
        } else if (raw.compare(i, 3, "\x1b[K") == 0) {
            i += 2; // the line is already cleared from the cursor on
        } else {
            current.push_back(c);
        }
    }
    if (!current.empty()) lines.push_back(current);
    return lines;
}

BackgroundShadow::BackgroundShadow(const std::vector<std::string>& args)
    : m_outPath(TempFile("out")), m_errPath(TempFile("err")) {
    m_pid = Spawn(args, m_outPath, m_errPath);
}

BackgroundShadow::~BackgroundShadow() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        WaitFor(m_pid);
    }
    fs::remove(m_outPath);
    fs::remove(m_errPath);
}

std::string BackgroundShadow::OutputSoFar() const { return ReadFile(m_outPath); }

CliResult BackgroundShadow::Wait() {
    CliResult result;
    result.exitCode = WaitFor(m_pid);
    m_pid = -1;
    result.out = ReadFile(m_outPath);
    result.err = ReadFile(m_errPath);
    return result;
}

void WriteFile(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    if (!file) throw std::runtime_error("cannot write " + path.string());
}

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void SetAge(const fs::path& path, std::chrono::seconds age) {
    fs::last_write_time(path, fs::file_time_type::clock::now() - age);
}

std::vector<std::string> TreeListing(const fs::path& root) {
    std::vector<std::string> entries;
    if (!fs::exists(root)) return entries;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        entries.push_back(fs::relative(entry.path(), root).string() + (entry.is_directory() ? "/" : ""));
    std::sort(entries.begin(), entries.end());
    return entries;
}

bool TreesEqual(const fs::path& a, const fs::path& b) {
    if (TreeListing(a) != TreeListing(b)) return false;
    for (const auto& entry : fs::recursive_directory_iterator(a))
        if (entry.is_regular_file() && ReadFile(entry.path()) != ReadFile(b / fs::relative(entry.path(), a)))
            return false;
    return true;
}

size_t CountOf(const std::string& text, const std::string& needle) {
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + needle.size())) ++count;
    return count;
}

} // namespace clitest
