// Choice parameters on the command line: the item's text in any case or its
// index. STRINGConvert's "Conversion" is such a choice; its run is harmless
// and reports its output parameter.
#include <gtest/gtest.h>

#include "CliProcess.h"

namespace clitest {
namespace {

bool StringConvertAvailable() { return RunShadow({"list", "STRINGConvert"}).exitCode == 0; }

TEST(Choice, ListShowsTheItemsAndTheDefaultItem) {
    if (!StringConvertAvailable()) GTEST_SKIP() << "the module does not offer STRINGConvert yet";
    CliResult result = RunShadow({"list", "STRINGConvert"});
    EXPECT_NE(result.out.find("choice"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("2 (Interpret)"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("choices: Off|CB2312|Interpret|Mime64|MimeHex"), std::string::npos) << result.out;
}

TEST(Choice, TextOrIndexSelectsTheItem) {
    if (!StringConvertAvailable()) GTEST_SKIP() << "the module does not offer STRINGConvert yet";
    TempFolder folder;
    struct Case {
        const char* given;
        const char* saved; // the index the parameters file holds
    };
    const Case cases[] = {{"off", "0"}, {"MIMEHEX", "4"}, {"Interpret", "2"}, {"3", "3"}, {"0", "0"}};
    for (const Case& c : cases) {
        std::string file = folder / (std::string("choice-") + c.given + ".xml");
        CliResult result =
            RunShadow({"run", "STRINGConvert", "InStrng=abc", std::string("conversion=") + c.given, "--save", file});
        ASSERT_EQ(result.exitCode, 0) << c.given << ": " << result.err;
        std::string xml = ReadFile(file);
        EXPECT_NE(xml.find(std::string("<Conversion>") + c.saved + "</Conversion>"), std::string::npos)
            << c.given << " in:\n" << xml;
    }
}

TEST(Choice, OffPassesTheTextThroughAndTheOutputIsPrinted) {
    if (!StringConvertAvailable()) GTEST_SKIP() << "the module does not offer STRINGConvert yet";
    CliResult result = RunShadow({"run", "STRINGConvert", "InStrng=abc", "Conversion=Off"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find("OutString=abc\n"), std::string::npos) << result.out;
}

TEST(Choice, ValuesOutsideTheListAreUsageErrors) {
    if (!StringConvertAvailable()) GTEST_SKIP() << "the module does not offer STRINGConvert yet";
    for (const char* given : {"5", "-1", "Mime", "Interpret2", ""}) {
        CliResult result = RunShadow({"run", "STRINGConvert", std::string("Conversion=") + given});
        EXPECT_EQ(result.exitCode, 2) << given;
        EXPECT_NE(result.err.find("expected one of 0=Off, 1=CB2312, 2=Interpret, 3=Mime64, 4=MimeHex"),
                  std::string::npos)
            << given << ": " << result.err;
    }
}

} // namespace
} // namespace clitest
