// How the command line reads and sets a component's parameters: kinds, the
// values a listing shows, and choice lists given by item text or by index.
// The component is a test one with a text, a port and a choice, so that
// choices are covered whatever the module's own components declare.
#include <gtest/gtest.h>

#include "../parameters/ParamTestSupport.h"
#include "cli/CliError.h"
#include "cli/HostRuntime.h"
#include "cli/ParameterTable.h"

namespace {

using cli::CliError;
using cli::ParameterInfo;

class ParameterTable : public ::testing::Test {
protected:
    static void SetUpTestSuite() { runtime = cli::HostRuntime::Start(SHADOW_BUILD_DIR).release(); }
    static void TearDownTestSuite() { delete runtime; }

    std::vector<ParameterInfo> Read() const { return cli::ReadParameters(parameters.Get()); }
    ParameterInfo Get(const wchar_t* name) const {
        std::vector<ParameterInfo> all = Read();
        const ParameterInfo* found = cli::FindParameter(all, name);
        if (!found) ADD_FAILURE() << "no parameter " << testing::PrintToString(std::wstring(name));
        return found ? *found : ParameterInfo{};
    }
    void Set(const wchar_t* name, const wchar_t* text) { cli::SetParameter(*runtime, parameters.Get(), Get(name), text); }
    // The usage error that setting `text` raises; empty when it is accepted.
    std::string ErrorSetting(const wchar_t* name, const wchar_t* text) {
        try {
            Set(name, text);
        } catch (const CliError& e) {
            EXPECT_EQ(e.Code(), cli::EXIT_USAGE) << e.what();
            return e.what();
        }
        return {};
    }

    static inline cli::HostRuntime* runtime = nullptr;
    IPtr<IParameters> parameters =
        paramtest::Make<paramtest::CDeclaredParams, IParameters>(IID_IParameters);
};

TEST_F(ParameterTable, ReadsKindsChoicesAndShownValues) {
    struct Row {
        const wchar_t* name;
        const char* kind;
        const char* shown;
        std::vector<std::wstring> choices;
    };
    const Row rows[] = {
        {L"SourceRoot", "text", "\"/src\"", {}},
        {L"SrcPort", "integer", "21", {}},
        {L"RunAction", "choice", "0 (Update)", {L"Update", L"Install", L"Commit"}},
    };
    std::vector<ParameterInfo> all = Read();
    ASSERT_EQ(all.size(), std::size(rows));
    for (size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(all[i].name, rows[i].name);
        EXPECT_EQ(cli::KindName(all[i]), rows[i].kind);
        EXPECT_EQ(cli::ValueShown(all[i]), rows[i].shown);
        EXPECT_EQ(all[i].choices, rows[i].choices);
    }
}

TEST_F(ParameterTable, AChoiceIsSetByItemTextInAnyCaseOrByIndex) {
    const std::pair<const wchar_t*, const char*> cases[] = {
        {L"install", "1 (Install)"}, {L"COMMIT", "2 (Commit)"}, {L"Update", "0 (Update)"},
        {L"2", "2 (Commit)"},        {L"1", "1 (Install)"},     {L"0", "0 (Update)"},
    };
    for (const auto& [given, shown] : cases) {
        Set(L"RunAction", given);
        EXPECT_EQ(cli::ValueShown(Get(L"RunAction")), shown) << given;
    }
}

TEST_F(ParameterTable, AValueOutsideTheChoiceListIsAUsageErrorThatListsTheItems) {
    Set(L"RunAction", L"Install");
    for (const wchar_t* given : {L"3", L"-1", L"Instal", L"Install2", L"", L" 1"}) {
        std::string error = ErrorSetting(L"RunAction", given);
        EXPECT_NE(error.find("expected one of 0=Update, 1=Install, 2=Commit"), std::string::npos) << error;
        EXPECT_EQ(cli::ValueShown(Get(L"RunAction")), "1 (Install)") << "left as it was";
    }
}

TEST_F(ParameterTable, AssignmentsApplyInOrderUntilTheFirstError) {
    const std::vector<std::wstring> assignments = {L"srcport=80", L"RunAction=bogus", L"SourceRoot=/x"};
    EXPECT_THROW(cli::ApplyAssignments(*runtime, parameters.Get(), assignments), CliError);
    EXPECT_EQ(Get(L"SrcPort").value, L"80");
    EXPECT_EQ(Get(L"SourceRoot").value, L"/src") << "nothing after the error is applied";

    try {
        cli::ApplyAssignments(*runtime, parameters.Get(), {L"Port=1"});
        ADD_FAILURE() << "an unknown name was accepted";
    } catch (const CliError& e) {
        EXPECT_STREQ(e.what(), "unknown parameter \"Port\"; valid parameters: SourceRoot, SrcPort, RunAction");
    }
}

} // namespace
