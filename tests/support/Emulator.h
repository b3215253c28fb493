// The emulator that runs the programs a test starts, when the tests are
// cross-built for another architecture.
//
// CTest runs a cross-built test program under the build's emulator
// (CMAKE_CROSSCOMPILING_EMULATOR, e.g. qemu-aarch64 -L /). The programs that
// test starts in turn (the built `shadow`, the test program itself) are of
// the same architecture, and the kernel cannot run them either: the test
// starts them through the same emulator, whose command words CTest hands
// over in SHADOW_TEST_EMULATOR, separated by blanks. Unset or empty, as in a
// native build, programs start as they are.
//
// Why a variable rather than registering the emulator with binfmt_misc: that
// registration is machine-wide, needs root and a mounted binfmt_misc (which
// containers and CI machines often lack), and would change how every arm64
// program on the machine starts; the variable reaches only the tests that
// CTest starts, and a test program run by hand works the same with it set.
#pragma once

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace testsupport {

// The emulator's program and arguments, to put before a program's path and
// arguments; empty when programs run natively.
inline std::vector<std::string> EmulatorWords() {
    std::vector<std::string> words;
    const char* value = std::getenv("SHADOW_TEST_EMULATOR");
    if (!value) return words;
    std::istringstream in(value);
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

} // namespace testsupport
