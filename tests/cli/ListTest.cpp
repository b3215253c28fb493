// `shadow list`: the components the module creates and their parameters.
#include <gtest/gtest.h>

#include <sstream>

#include "CliProcess.h"

namespace clitest {
namespace {

// The listing line of a parameter, split into its blank-separated words.
std::vector<std::string> ParameterLine(const std::string& listing, const std::string& name) {
    std::istringstream lines(listing);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::vector<std::string> parts;
        for (std::string w; words >> w;) parts.push_back(w);
        if (!parts.empty() && parts[0] == name) return parts;
    }
    return {};
}

TEST(List, ShadowShowsItsParametersWithKindDefaultAndFlags) {
    CliResult result = RunShadow({"list", "Shadow"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.rfind("Shadow\n", 0), 0u) << result.out;

    struct Expected {
        const char* name;
        const char* kind;
        const char* value;
        const char* flags;
    };
    const Expected expected[] = {
        {"SourcePath", "text", "\"\"", "0x26"},       {"DestinationPath", "text", "\"\"", "0x26"},
        {"CleanOlderFiles", "integer", "0", "0x13"}, {"CopyNewOnly", "integer", "1", "0x13"},
        {"CopySubFolders", "integer", "1", "0x13"},
    };
    size_t previous = 0;
    for (const Expected& e : expected) {
        std::vector<std::string> parts = ParameterLine(result.out, e.name);
        ASSERT_EQ(parts.size(), 4u) << e.name << " in:\n" << result.out;
        EXPECT_EQ(parts[1], e.kind) << e.name;
        EXPECT_EQ(parts[2], e.value) << e.name;
        EXPECT_EQ(parts[3], e.flags) << e.name;
        // Parameters are listed in their declaration order.
        size_t at = result.out.find(std::string("  ") + e.name + " ");
        EXPECT_GT(at, previous) << e.name;
        previous = at;
    }
    EXPECT_NE(result.out.find("inputs: UILineDisplayable"), std::string::npos) << result.out;
}

TEST(List, ComponentNameIsMatchedWithoutCase) {
    CliResult result = RunShadow({"list", "sHADOW"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.rfind("Shadow\n", 0), 0u) << result.out;
}

TEST(List, AllComponentsIncludeShadowOnce) {
    CliResult result = RunShadow({"list"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::istringstream lines(result.out);
    int headings = 0;
    for (std::string line; std::getline(lines, line);) headings += line == "Shadow";
    EXPECT_EQ(headings, 1) << result.out;
    EXPECT_FALSE(ParameterLine(result.out, "CopySubFolders").empty()) << result.out;
}

TEST(List, UnknownComponentIsAUsageErrorNamingTheAvailableOnes) {
    CliResult result = RunShadow({"list", "Shadowy"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.err.find("unknown component \"Shadowy\""), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("available components: Shadow"), std::string::npos) << result.err;
    EXPECT_TRUE(result.out.empty()) << result.out;
}

} // namespace
} // namespace clitest
