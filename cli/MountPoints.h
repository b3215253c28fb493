// The mount points of this process's mount namespace, read from
// /proc/self/mountinfo. A folder tree can reach another tree, or a part of
// itself, through a mount point inside it (a bind mount above all), which no
// comparison of path spellings reveals.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// The mount point of every line of mountinfo text (its fifth field), with
// the kernel's octal escapes ("\040" for a space; tab, newline and
// backslash alike) undone. Lines too short to hold the field are left out.
std::vector<std::string> MountPointsOf(std::string_view mountinfo);

// The mount points of this process; empty when the table cannot be read.
std::vector<std::string> CurrentMountPoints();

} // namespace cli
