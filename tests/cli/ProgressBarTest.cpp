// The bar drawn in front of a progress line that ends in a percentage.
#include <gtest/gtest.h>

#include "cli/ProgressBar.h"

namespace {

TEST(ProgressBar, DrawsTheTrailingPercentageAndLeavesOtherLinesAlone) {
    struct Case {
        const wchar_t* text;
        const wchar_t* shown;
    };
    const Case cases[] = {
        {L"Downloading 50.0%", L"[############............] Downloading 50.0%"},
        {L"Downloading (5 K) 100.0%", L"[########################] Downloading (5 K) 100.0%"},
        {L"Downloading (12 Meg) 0.0%", L"[........................] Downloading (12 Meg) 0.0%"},
        // More than all (a server that sent more than it announced) stays a full bar.
        {L"Downloading 250.0%", L"[########################] Downloading 250.0%"},
        {L"Downloading  2560", L"Downloading  2560"},
        {L"50% done", L"50% done"},
        {L"Downloading .%", L"Downloading .%"},
        {L"%", L"%"},
        {L"", L""},
    };
    for (const Case& c : cases) EXPECT_EQ(cli::WithProgressBar(c.text), c.shown) << testing::PrintToString(c.text);
}

} // namespace
