// An exception escaping Execute becomes one error line in the host's event
// log, under the component's name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "StepProbes.h"
#include "support/TempFolder.h"

namespace {

namespace fs = std::filesystem;

struct Thrower {
    const char* what;
    std::function<void()> raise;
};

const std::vector<Thrower>& Throwers() {
    struct Custom {};
    static const std::vector<Thrower> all = {
        {"std::runtime_error", [] { throw std::runtime_error("broken"); }},
        {"int", [] { throw 7; }},
        {"text", [] { throw "broken"; }},
        {"own type", [] { throw Custom{}; }},
    };
    return all;
}

class StepExceptionLog : public ::testing::Test {
protected:
    void SetUp() override {
        // A new folder each time: the host keeps every log file it wrote
        // to open, so a path must not be reused within the process.
        m_folder.emplace("shadow-step-log");
        dir = m_folder->Path();
        if (const char* old = std::getenv("SHADOW_EVENT_LOG")) saved = old;
    }
    void TearDown() override {
        if (saved) setenv("SHADOW_EVENT_LOG", saved->c_str(), 1);
        else unsetenv("SHADOW_EVENT_LOG");
        m_folder.reset();
    }

    // Points the event log at a new file for the next lines.
    fs::path UseLog(const std::string& name) {
        fs::path file = dir / name;
        setenv("SHADOW_EVENT_LOG", file.c_str(), 1);
        return file;
    }

    static std::vector<std::string> Lines(const fs::path& file) {
        std::vector<std::string> lines;
        std::ifstream in(file);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }

    fs::path dir;
    std::optional<std::string> saved;
    std::optional<testsupport::TempFolder> m_folder;
};

TEST_F(StepExceptionLog, SynchronousStepReturnsMinus999AndLogsOneLine) {
    CSyncProbe::counters.Reset();
    IStep* step = CreateStep<CSyncProbe>();
    ASSERT_NE(step, nullptr);
    int n = 0;
    for (const Thrower& t : Throwers()) {
        fs::path log = UseLog("sync" + std::to_string(n++) + ".log");
        ProbeOf<CSyncProbe>(step)->body = [&t](CStopEvent*) -> HRESULT {
            t.raise();
            return S_OK;
        };
        EXPECT_EQ(step->TurnOn(), -999) << t.what;
        std::vector<std::string> lines = Lines(log);
        ASSERT_EQ(lines.size(), 1u) << t.what;
        EXPECT_THAT(lines[0], ::testing::EndsWith(" SyncProbe: Exception 0 [error]"));
    }
    // The step works on after an exception.
    ProbeOf<CSyncProbe>(step)->body = nullptr;
    EXPECT_EQ(step->TurnOn(), S_OK);
    EXPECT_EQ(step->Release(), 0u);
}

TEST_F(StepExceptionLog, AsynchronousRunEndsCleanlyAndLogsOneLine) {
    CAsyncProbe::counters.Reset();
    IStep* step = CreateStep<CAsyncProbe>();
    ASSERT_NE(step, nullptr);
    CAsyncProbe* probe = ProbeOf<CAsyncProbe>(step);
    int n = 0;
    for (const Thrower& t : Throwers()) {
        fs::path log = UseLog("async" + std::to_string(n++) + ".log");
        probe->body = [&t](CStopEvent*) -> HRESULT {
            t.raise();
            return S_FALSE;
        };
        ASSERT_EQ(step->TurnOn(), S_OK) << t.what;
        ASSERT_TRUE(WaitFor([step] { return !step->IsRunning(); })) << t.what;
        EXPECT_EQ(probe->GetLastStatus(), S_OK) << t.what;
        std::vector<std::string> lines = Lines(log);
        ASSERT_EQ(lines.size(), 1u) << t.what;
        EXPECT_THAT(lines[0], ::testing::EndsWith(" AsyncProbe: Exception Async 0 [error]"));
    }
    step->Release();
    EXPECT_TRUE(WaitFor([] { return CAsyncProbe::counters.destroyed.load() == 1; }));
}

} // namespace
