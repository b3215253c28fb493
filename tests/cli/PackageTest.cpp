// `shadow package`: a release assembled from a components list, its
// manifest checked by sha256sum, and the platform names it refuses.
#include <gtest/gtest.h>

#include "CliProcess.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;

class PackageCli : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("SHADOW_REGISTRY", At("registry.ini").c_str(), 1);
        setenv("SHADOW_EVENT_LOG", At("events.log").c_str(), 1);
        WriteFile(At("components.csv"), "Shadow,\nCollectionsEx,notes/readme.txt\n");
        for (const char* module : {"Shadow", "CollectionsEx"})
            WriteFile(At("product/_binARM64/") + module + ".so", std::string("module ") + module);
        WriteFile(At("product/Ludra"), "runner");
        WriteFile(At("product/Ludra.ico"), "icon");
        for (const char* file : {"vmCmn/Components.csv", "vmCmn/Strings.txt", "vmCmn/default.dic", "icons/a.png",
                                 "help/helpstyle.css", "help/index.html", "slides/s1.png", "notes/readme.txt"})
            WriteFile(At("common/") + file, file);
    }
    void TearDown() override {
        unsetenv("SHADOW_REGISTRY");
        unsetenv("SHADOW_EVENT_LOG");
    }
    std::string At(const std::string& relative) const { return m_tree / relative; }
    CliResult Package(const std::string& os, std::vector<std::string> more = {}) {
        std::vector<std::string> args{"package", "--csv", At("components.csv"), "--source", At("product"),
                                      "--common", At("common"), "--dest", At("release"), "--os", os};
        args.insert(args.end(), more.begin(), more.end());
        return RunShadow(args);
    }

    TempFolder m_tree;
};

TEST_F(PackageCli, AssemblesTheReleaseAndAManifestThatChecks) {
    CliResult r = Package("arm64", {"--manifest", At("release.sha256"), "--verbose"});
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    for (const char* file : {"_binARM64/Shadow.so", "_binARM64/CollectionsEx.so", "Ludra", "Ludra.ico",
                             "vmCmn/Strings.txt", "help/helpstyle.css", "notes/readme.txt"})
        EXPECT_TRUE(fs::exists(At("release/") + file)) << file;
    EXPECT_NE(r.out.find("Copied "), std::string::npos) << r.out;
    const std::string check = "cd '" + At("release") + "' && sha256sum --quiet -c '" + At("release.sha256") + "'";
    EXPECT_EQ(std::system(check.c_str()), 0) << ReadFile(At("release.sha256"));
}

TEST_F(PackageCli, TheListOfTheModulesInUseIsWhatThePackagerReads) {
    fs::remove_all(At("product/_binARM64"));
    WriteFile(At("product/_binARM64/Shadow.so"), "module");
    WriteFile(At("product/_binARM64/CollectionsEx.so"), "runtime");
    CliResult listed = RunShadow({"run", "ShadowVelmixList", "FileName=" + At("in-use.csv")});
    ASSERT_EQ(listed.exitCode, 0) << listed.out << listed.err;
    CliResult r = RunShadow({"package", "--csv", At("in-use.csv"), "--source", At("product"), "--common",
                             At("common"), "--dest", At("release"), "--os", "ARM64"});
    ASSERT_EQ(r.exitCode, 0) << r.out << r.err;
    EXPECT_EQ(TreeListing(At("release/_binARM64")), (std::vector<std::string>{"CollectionsEx.so", "Shadow.so"}))
        << ReadFile(At("in-use.csv"));
}

TEST_F(PackageCli, RefusesUnknownPlatformsAndMissingInputs) {
    EXPECT_EQ(Package("solaris").exitCode, 2);
    fs::remove(At("components.csv"));
    EXPECT_EQ(Package("ARM64").exitCode, 1);
    EXPECT_FALSE(fs::exists(At("release/_binARM64")));
}

} // namespace
} // namespace clitest
