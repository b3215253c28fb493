// `shadow run COMPONENT Name=Value ...` with the Shadow component, and the
// saving and loading of its parameters.
#include <gtest/gtest.h>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class RunShadowComponent : public ::testing::Test {
protected:
    void SetUp() override {
        WriteFile(m_tree / "src/one.txt", "one\n");
        WriteFile(m_tree / "src/sub/two.txt", "two\n");
        SetAge(m_tree / "src/one.txt", 600s);
        SetAge(m_tree / "src/sub/two.txt", 600s);
    }
    std::string At(const std::string& relative) const { return m_tree / relative; }

    TempFolder m_tree;
};

TEST_F(RunShadowComponent, NamedParametersDriveTheRun) {
    // Names are matched without regard to ASCII case.
    CliResult result = RunShadow({"run", "Shadow", "sourcepath=" + At("src"), "DESTINATIONPATH=" + At("dst")});
    ASSERT_EQ(result.exitCode, 0) << result.err << result.out;
    EXPECT_TRUE(TreesEqual(At("src"), At("dst")));
    // The component's own result line, as every line, goes to a non-terminal.
    EXPECT_NE(result.out.find("Copied "), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("2 Files"), std::string::npos) << result.out;
}

TEST_F(RunShadowComponent, SwitchValuesAreIntegers) {
    CliResult result =
        RunShadow({"run", "Shadow", "SourcePath=" + At("src"), "DestinationPath=" + At("dst"), "CopySubFolders=0"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(TreeListing(At("dst")), (std::vector<std::string>{"one.txt"}));
}

TEST_F(RunShadowComponent, BadAssignmentsAreUsageErrorsAndRunNothing) {
    struct Case {
        std::string assignment;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"Bogus=1", {"unknown parameter \"Bogus\"", "SourcePath", "CopySubFolders"}},
        {"CopyNewOnly=yes", {"malformed value \"yes\" for CopyNewOnly", "whole number"}},
        {"CopyNewOnly=", {"malformed value \"\" for CopyNewOnly"}},
        {"CopyNewOnly=99999999999", {"malformed value"}},
        {"CleanOlderFiles=1.5", {"malformed value"}},
        {"=5", {"expected Name=Value"}},
        {"SourcePath", {"expected Name=Value"}},
    };
    for (const Case& c : cases) {
        CliResult result = RunShadow({"run", "Shadow", "SourcePath=" + At("src"), "DestinationPath=" + At("dst"),
                                      c.assignment});
        EXPECT_EQ(result.exitCode, 2) << c.assignment << "\n" << result.err;
        for (const std::string& piece : c.expected)
            EXPECT_NE(result.err.find(piece), std::string::npos) << c.assignment << ": " << result.err;
    }
    EXPECT_FALSE(fs::exists(At("dst"))) << "a refused command line must not start the run";
}

TEST_F(RunShadowComponent, UnknownComponentIsAUsageError) {
    CliResult result = RunShadow({"run", "Shadowz", "SourcePath=x"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.err.find("unknown component \"Shadowz\"; available components: Shadow"), std::string::npos)
        << result.err;
}

// A source the component cannot list is reported by the component as an
// error line, which makes the run fail.
TEST_F(RunShadowComponent, ErrorLineOfTheComponentGivesExitCode1) {
    CliResult result = RunShadow({"run", "Shadow", "SourcePath=" + At("missing"), "DestinationPath=" + At("dst")});
    EXPECT_EQ(result.exitCode, 1) << result.out;
    EXPECT_NE(result.out.find("Connection Aborted (Copy)"), std::string::npos) << result.out;
    EXPECT_NE(result.err.find("reported 1 error"), std::string::npos) << result.err;
}

TEST_F(RunShadowComponent, OverlappingFoldersAreRefused) {
    CliResult result = RunShadow({"run", "Shadow", "SourcePath=" + At("src"), "DestinationPath=" + At("src/sub/x")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.err.find("lies inside"), std::string::npos) << result.err;
    EXPECT_FALSE(fs::exists(At("src/sub/x")));
}

TEST_F(RunShadowComponent, SavedParametersLoadBackAndCanBeOverridden) {
    std::string file = At("mirror.xml");
    CliResult saved = RunShadow({"run", "Shadow", "SourcePath=" + At("src"), "DestinationPath=" + At("dst"),
                                 "CopySubFolders=0", "--save", file});
    ASSERT_EQ(saved.exitCode, 0) << saved.err;
    ASSERT_TRUE(fs::exists(file));
    std::string xml = ReadFile(file);
    EXPECT_NE(xml.find(At("src")), std::string::npos) << xml;
    EXPECT_NE(xml.find("CopySubFolders"), std::string::npos) << xml;
    EXPECT_EQ(TreeListing(At("dst")), (std::vector<std::string>{"one.txt"}));

    // The loaded file alone repeats the flat run (nothing left to copy).
    fs::remove_all(At("dst"));
    CliResult loaded = RunShadow({"run", "Shadow", "--load", file});
    ASSERT_EQ(loaded.exitCode, 0) << loaded.err;
    EXPECT_EQ(TreeListing(At("dst")), (std::vector<std::string>{"one.txt"}));

    // Assignments after --load win over the file; the order on the command
    // line does not matter.
    CliResult overridden = RunShadow({"run", "Shadow", "CopySubFolders=1", "--load=" + file});
    ASSERT_EQ(overridden.exitCode, 0) << overridden.err;
    EXPECT_TRUE(TreesEqual(At("src"), At("dst")));
}

TEST_F(RunShadowComponent, UnreadableParameterFilesAreUsageErrors) {
    WriteFile(At("broken.xml"), "<Parameters><SourcePath>unclosed");
    // Objects nested far deeper than the XML stream takes (loading them would
    // recurse once a level).
    std::string deep = "<Document><SourcePath><Value>/</Value>";
    for (int i = 0; i < 100000; ++i) deep += "<Object Component=\"ParametersCreatable\"><P><Value>1</Value>";
    for (int i = 0; i < 100000; ++i) deep += "</P></Object>";
    WriteFile(At("deep.xml"), deep + "</SourcePath></Document>");
    const std::pair<std::string, std::string> cases[] = {
        {At("absent.xml"), "cannot read parameters file"},
        {At("broken.xml"), "is not a readable XML document"},
        {At("deep.xml"), "is not a readable XML document"},
    };
    for (const auto& [file, message] : cases) {
        CliResult result = RunShadow({"run", "Shadow", "--load", file});
        EXPECT_EQ(result.exitCode, 2) << file;
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
}

} // namespace
} // namespace clitest
