#include "host/os/Spawn.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
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

    pid_t child = 0;
    const bool onPath = argv.front().find('/') == std::string::npos;
    const int error = onPath ? ::posix_spawnp(&child, args[0], nullptr, &attributes, args.data(), environ)
                             : ::posix_spawn(&child, args[0], nullptr, &attributes, args.data(), environ);
    if (error) return error;
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
