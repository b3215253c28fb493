// Starting a program without waiting for it, and without a shell: the words
// go to posix_spawn as they are, with the process's environment. A first
// word with a "/" is the program's file; any other is looked up on PATH
// here, before spawning, so that a missing or non-executable program is
// known on every system.
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
