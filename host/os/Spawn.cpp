#include "host/os/Spawn.h"

#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <thread>

#include "sdk/ScopeExit.h"

extern char** environ;

namespace host {

namespace {

void WaitFor(pid_t child) {
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// 0 when `path` is an executable regular file, else the errno exec would
// give.
int Executable(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return errno;
    if (!S_ISREG(info.st_mode) || ::access(path.c_str(), X_OK) != 0) return EACCES;
    return 0;
}

// The file a program word names: itself when it holds a "/", else the
// first executable file of that name in a folder of PATH. posix_spawn
// learns of a failed exec from the child, which not every system delivers
// (qemu-user's emulation of a vfork does not), so the program is found
// here, before anything starts.
int Resolve(const std::string& word, std::string& program) {
    if (word.find('/') != std::string::npos) {
        program = word;
        return Executable(word);
    }
    const char* path = std::getenv("PATH");
    const std::string folders = path && *path ? path : "/usr/local/bin:/usr/bin:/bin";
    int error = ENOENT;
    for (size_t start = 0; start <= folders.size();) {
        size_t end = folders.find(':', start);
        if (end == std::string::npos) end = folders.size();
        const std::string folder = end > start ? folders.substr(start, end - start) : ".";
        const std::string candidate = folder + "/" + word;
        const int found = Executable(candidate);
        if (found == 0) {
            program = candidate;
            return 0;
        }
        if (found == EACCES) error = EACCES;
        start = end + 1;
    }
    return error;
}

} // namespace

int SpawnDetached(const std::vector<std::string>& argv) {
    if (argv.empty()) return EINVAL;
    std::vector<char*> args;
    args.reserve(argv.size() + 1);
    for (const std::string& word : argv) args.push_back(const_cast<char*>(word.c_str()));
    args.push_back(nullptr);

    posix_spawnattr_t attributes;
    if (int error = ::posix_spawnattr_init(&attributes)) return error;
    ScopeExit destroy([&] { ::posix_spawnattr_destroy(&attributes); });
    // A host that ignores SIGPIPE or blocks signals for its own threads must
    // not hand that on to the program it starts.
    sigset_t all, none;
    sigfillset(&all);
    sigemptyset(&none);
    if (int error = ::posix_spawnattr_setsigdefault(&attributes, &all)) return error;
    if (int error = ::posix_spawnattr_setsigmask(&attributes, &none)) return error;
    if (int error = ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK))
        return error;

    std::string program;
    if (int error = Resolve(argv.front(), program)) return error;
    pid_t child = 0;
    if (int error = ::posix_spawn(&child, program.c_str(), nullptr, &attributes, args.data(), environ)) return error;
    try {
        std::thread(WaitFor, child).detach();
    } catch (const std::system_error&) {
        // No thread to reap it: the program runs all the same, and its
        // entry stays in the process table until this process ends. Waiting
        // here instead could block the caller for as long as it runs.
    }
    return 0;
}

} // namespace host
