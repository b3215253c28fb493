// On a terminal the run is shown as one status line that is overwritten in
// place, and only the result lines stay.
#include <gtest/gtest.h>

#include "CliProcess.h"

namespace clitest {
namespace {

bool AnyLineHas(const std::vector<std::string>& lines, const std::string& piece) {
    for (const std::string& line : lines)
        if (line.find(piece) != std::string::npos) return true;
    return false;
}

TEST(Terminal, LiveStatusKeepsOnlyResultLines) {
    TempFolder tree;
    WriteFile(tree / "src/a.txt", std::string(2048, 'a'));
    WriteFile(tree / "src/b.txt", "b");
    WriteFile(tree / "src/sub/c.txt", "c");
    WriteFile(tree / "dst/stale.txt", "old");

    CliResult result = RunShadowOnTerminal({"mirror", tree / "src", tree / "dst", "--clean"}, 300);
    ASSERT_EQ(result.exitCode, 0) << result.err << result.out;
    EXPECT_TRUE(TreesEqual(tree / "src", tree / "dst"));

    // The status line shows the phase with the bytes handled so far; it is
    // drawn again under each result line, so its last state is certain.
    EXPECT_NE(result.out.find("Shadow(Copy) (0 bytes copied): Scanning: " + (tree / "src")), std::string::npos)
        << result.out;
    EXPECT_NE(result.out.find("Shadow(Del) (2.0 KB copied, 3 bytes deleted): Scanning for Delete: " + (tree / "dst/sub")),
              std::string::npos)
        << result.out;

    std::vector<std::string> lines = VisibleLines(result.out);
    EXPECT_FALSE(AnyLineHas(lines, "Copying: ")) << result.out;
    EXPECT_FALSE(AnyLineHas(lines, "Scanning")) << result.out;
    EXPECT_TRUE(AnyLineHas(lines, "Copied  3 Files")) << result.out;
    EXPECT_TRUE(AnyLineHas(lines, "Deleted 1 Files")) << result.out;
    EXPECT_TRUE(AnyLineHas(lines, "Copied:  3 files, 2.0 KB")) << result.out;
    EXPECT_TRUE(AnyLineHas(lines, "Deleted: 1 file, 3 bytes")) << result.out;
}

TEST(Terminal, VerbosePrintsEveryLineEvenOnATerminal) {
    TempFolder tree;
    WriteFile(tree / "src/a.txt", "a");
    CliResult result = RunShadowOnTerminal({"mirror", tree / "src", tree / "dst", "--verbose"}, 300);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::vector<std::string> lines = VisibleLines(result.out);
    EXPECT_TRUE(AnyLineHas(lines, "Shadow(Copy): Copying: " + (tree / "src/a.txt"))) << result.out;
    EXPECT_TRUE(AnyLineHas(lines, "Shadow(Copy): Scanning: ")) << result.out;
}

} // namespace
} // namespace clitest
