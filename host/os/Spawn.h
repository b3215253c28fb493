// Starting a program without waiting for it, and without a shell: the words
// go to posix_spawn (a first word with a "/") or posix_spawnp (a program
// name looked up on PATH) as they are, with the process's environment.
//
// The child gets the default action for every signal and an empty signal
// mask, whatever this process ignores or blocks. It is reaped by a detached
// thread that waits for it, so that no zombie stays behind; nobody learns
// its exit status.
#pragma once

#include <string>
#include <vector>

namespace host {

// Starts argv[0] with `argv` (file-name bytes). 0 when the program started,
// else the errno of the failure (ENOENT, EACCES, ENOEXEC, ...). An empty
// argv is EINVAL.
int SpawnDetached(const std::vector<std::string>& argv);

} // namespace host
