// `shadow verbs` and `shadow verb`: a component's verbs listed in order, and
// the verbs that cannot be performed refused before anything runs.
#include <gtest/gtest.h>

#include "CliProcess.h"

namespace clitest {
namespace {

TEST(VerbsCli, ShadowListShowsItsVerbsWithCodesInOrder) {
    CliResult result = RunShadow({"verbs", "shadowlist"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out,
              "    8  Run\n"
              "    3  Edit\n"
              "-\n"
              "  101  CreateFAS_Src\n"
              "  102  CreateFAS_Dest\n"
              "  103  SaveFAS_SrcToSrc\n"
              "  104  SaveFAS_SrcToDest\n"
              "  105  SaveFAS_DestToDest\n"
              "  106  SaveFAS_DestToSrc\n"
              "  110  LoadFAS\n"
              "  120  Update\n"
              "  121  UpdateAll\n"
              "  122  Install\n"
              "  123  InstallAll\n"
              "  130  Commit\n"
              "  131  CommitAll\n");
}

TEST(VerbsCli, RefusesWhatCannotBePerformed) {
    const struct {
        std::vector<std::string> args;
        int exitCode;
        const char* message;
    } cases[] = {
        {{"verb", "ShadowList", "Nope"}, 2, "unknown verb \"Nope\" for ShadowList; valid verbs: Run, Edit,"},
        {{"verb", "ShadowList", ""}, 2, "unknown verb \"\""},
        {{"verb", "ShadowList"}, 2, "missing argument VERB"},
        {{"verb", "ShadowList", "Update", "Nope=1"}, 2, "unknown parameter \"Nope\""},
        {{"verbs", "Shadow"}, 2, "component Shadow offers no verbs"},
        {{"verb", "ShadowList", "edit"}, 1, "verb Edit of ShadowList is not available from the command line"},
    };
    for (const auto& c : cases) {
        CliResult result = RunShadow(c.args);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.args.back() << "\n" << result.err;
        EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "") << c.args.back();
    }
}

} // namespace
} // namespace clitest
