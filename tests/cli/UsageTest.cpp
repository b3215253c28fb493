// Usage errors, help texts and the checks made before anything runs.
#include <gtest/gtest.h>

#include "CliProcess.h"

namespace clitest {
namespace {

struct UsageCase {
    const char* label;
    std::vector<std::string> args;
    int exitCode;
    const char* stream; // "out" or "err"
    std::vector<std::string> expected;
};

void PrintTo(const UsageCase& c, std::ostream* os) { *os << c.label; }

class UsageTest : public ::testing::TestWithParam<UsageCase> {};

TEST_P(UsageTest, ExitCodeAndMessage) {
    const UsageCase& c = GetParam();
    CliResult result = RunShadow(c.args);
    EXPECT_EQ(result.exitCode, c.exitCode) << result.err;
    const std::string& text = std::string(c.stream) == "out" ? result.out : result.err;
    for (const std::string& piece : c.expected) EXPECT_NE(text.find(piece), std::string::npos) << piece << " in:\n" << text;
}

INSTANTIATE_TEST_SUITE_P(
    Cli, UsageTest,
    ::testing::Values(
        UsageCase{"no command", {}, 2, "err", {"missing command", "mirror, run, list"}},
        UsageCase{"unknown command", {"frobnicate"}, 2, "err", {"unknown command \"frobnicate\"", "mirror, run, list"}},
        UsageCase{"mirror without folders", {"mirror"}, 2, "err", {"missing arguments SRC and DST"}},
        UsageCase{"mirror without destination", {"mirror", "/tmp"}, 2, "err", {"missing argument DST"}},
        UsageCase{"mirror with three folders", {"mirror", "/a", "/b", "/c"}, 2, "err", {"unexpected argument /c"}},
        UsageCase{"mirror unknown option", {"mirror", "/a", "/b", "--bogus"}, 2, "err",
                  {"unknown option --bogus", "--clean, --max-delete N, --all, --flat, --dry-run, --verbose"}},
        UsageCase{"mirror --max-delete without a number", {"mirror", "/a", "/b", "--clean", "--max-delete=-1"}, 2,
                  "err", {"--max-delete needs a whole number"}},
        UsageCase{"run without component", {"run"}, 2, "err", {"missing argument COMPONENT"}},
        UsageCase{"run with --load but no file", {"run", "Shadow", "--load"}, 2, "err", {"--load needs a file name"}},
        UsageCase{"run with empty --save=", {"run", "Shadow", "--save="}, 2, "err", {"--save needs a file name"}},
        UsageCase{"run unknown option", {"run", "Shadow", "--fast"}, 2, "err", {"unknown option --fast"}},
        UsageCase{"run with a non-UTF-8 value", {"run", "Shadow", "SourcePath=\xff\xfe"}, 2, "err",
                  {"not valid UTF-8"}},
        UsageCase{"list with two components", {"list", "Shadow", "URLGet"}, 2, "err", {"unexpected argument URLGet"}},
        UsageCase{"general help", {"--help"}, 0, "out",
                  {"usage: shadow <command>", "mirror SRC DST", "--dry-run", "Exit codes"}},
        UsageCase{"help word", {"help"}, 0, "out", {"usage: shadow <command>"}},
        UsageCase{"mirror help", {"mirror", "--help"}, 0, "out",
                  {"usage: shadow mirror", "--clean", "--max-delete N", "--dry-run"}},
        UsageCase{"run help", {"run", "-h"}, 0, "out", {"usage: shadow run", "--load FILE.xml", "choice"}},
        UsageCase{"list help", {"list", "--help"}, 0, "out", {"usage: shadow list"}}));

TEST(MirrorChecks, MissingSourceFolderFailsBeforeAnythingRuns) {
    TempFolder tree;
    std::string missing = tree / "no-such-folder";
    CliResult result = RunShadow({"mirror", missing, tree / "dst"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find("source folder not found: " + missing), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(tree / "dst"));
}

TEST(MirrorChecks, SourceThatIsAFileIsNotAFolder) {
    TempFolder tree;
    WriteFile(tree / "plain.txt", "x");
    CliResult result = RunShadow({"mirror", tree / "plain.txt", tree / "dst"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find("source folder not found"), std::string::npos) << result.err;
}

TEST(MirrorChecks, DestinationThatCannotBeAFolderFails) {
    TempFolder tree;
    WriteFile(tree / "src/a.txt", "a");
    WriteFile(tree / "file.txt", "not a folder");
    const std::pair<std::string, std::string> cases[] = {
        {tree / "file.txt", "destination is not a folder: " + (tree / "file.txt")},
        {tree / "missing/deeper/dst", "folder not found: " + (tree / "missing/deeper")},
    };
    for (const auto& [destination, message] : cases) {
        CliResult result = RunShadow({"mirror", tree / "src", destination});
        EXPECT_EQ(result.exitCode, 1) << destination;
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
    EXPECT_EQ(ReadFile(tree / "file.txt"), "not a folder");
    EXPECT_FALSE(std::filesystem::exists(tree / "missing"));
}

// Folder pairs the run would misread: a tree copied into itself, a source
// cleaned away, a case-only difference taken for one folder, a destination
// emptied from a source that may be an unmounted disk. Nothing changes.
TEST(MirrorChecks, RefusedFolderPairsLeaveBothTreesAlone) {
    TempFolder tree;
    WriteFile(tree / "src/a.txt", "alpha");
    WriteFile(tree / "src/inner/b.txt", "beta");
    WriteFile(tree / "S2/c.txt", "gamma");
    std::filesystem::create_directories(tree / "s2");
    std::filesystem::create_directories(tree / "empty");
    std::filesystem::create_directory_symlink(tree / "src", tree / "alias");
    struct Refusal {
        const char* label;
        std::vector<std::string> args;
        const char* message;
    };
    const Refusal cases[] = {
        {"same folder, trailing slash", {tree / "src", tree / "src/", "--clean"}, "are the same folder"},
        {"same folder, ./", {tree / "src", tree / "src/./", "--all"}, "are the same folder"},
        {"same folder through a link", {tree / "src", tree / "alias"}, "are the same folder"},
        {"destination inside the source", {tree / "src", tree / "src/inner/copy"}, "lies inside the source folder"},
        {"destination inside the source through a link", {tree / "src", tree / "alias/inner"},
         "lies inside the source folder"},
        {"source inside the destination", {tree / "src/inner", tree / "src", "--clean"},
         "lies inside the destination folder"},
        {"case-only difference", {tree / "S2", tree / "s2"}, "differ only in letter case"},
        {"clean from an empty source", {tree / "empty", tree / "src", "--clean"}, "give --max-delete 3"},
        {"--max-delete without --clean", {tree / "empty", tree / "src", "--max-delete", "3"}, "needs it"},
    };
    const std::vector<std::string> before = TreeListing(tree.Path());
    for (const Refusal& c : cases) {
        std::vector<std::string> args{"mirror"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        CliResult result = RunShadow(args);
        EXPECT_EQ(result.exitCode, 2) << c.label << "\n" << result.err;
        EXPECT_NE(result.err.find(c.message), std::string::npos) << c.label << "\n" << result.err;
    }
    EXPECT_EQ(TreeListing(tree.Path()), before);
    EXPECT_EQ(ReadFile(tree / "src/a.txt"), "alpha");
    EXPECT_EQ(ReadFile(tree / "src/inner/b.txt"), "beta");
}

} // namespace
} // namespace clitest
