// Reading the mount table that the folder checks compare folders against.
#include <gtest/gtest.h>

#include "cli/MountPoints.h"

namespace {

TEST(MountPoints, FifthFieldWithTheKernelsEscapesUndone) {
    const std::string table =
        "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
        "80 27 8:1 /data /mnt/with\\040space\\011tab\\134slash rw - ext4 /dev/sda1 rw\n"
        "81 27 8:1 / /mnt/odd\\04 rw - ext4 /dev/sda1 rw\n" // too short for an escape: kept
        "short line\n";
    EXPECT_EQ(cli::MountPointsOf(table),
              (std::vector<std::string>{"/proc", "/mnt/with space\ttab\\slash", "/mnt/odd\\04"}));
}

} // namespace
