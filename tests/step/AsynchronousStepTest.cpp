// The asynchronous step: Execute runs on a detached worker thread that
// TurnOff asks to stop.
#include <gtest/gtest.h>

#include <chrono>

#include "StepProbes.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class AsynchronousStep : public ::testing::Test {
protected:
    void SetUp() override {
        CAsyncProbe::counters.Reset();
        step = CreateStep<CAsyncProbe>();
        ASSERT_NE(step, nullptr);
        probe = ProbeOf<CAsyncProbe>(step);
    }
    void TearDown() override {
        if (!step) return;
        // Let any run end before the component goes.
        gate.open = true;
        EXPECT_TRUE(WaitFor([this] { return !step->IsRunning(); }));
        step->Release();
        EXPECT_TRUE(WaitFor([] { return CAsyncProbe::counters.destroyed.load() == 1; }));
    }

    // Execute runs until it is asked to stop.
    void RunUntilStopped() {
        probe->body = [](CStopEvent* stop) {
            while (!CStopEvent::Requested(stop)) usleep(100);
            return E_ABORT;
        };
    }
    // Execute ignores the stop flag and waits for the gate.
    void RunUntilGateOpens() {
        probe->body = [this](CStopEvent*) {
            gate.Wait();
            return S_OK;
        };
    }

    IStep* step = nullptr;
    CAsyncProbe* probe = nullptr;
    Gate gate;
};

TEST_F(AsynchronousStep, RunsOnAWorkerAndEndsByItself) {
    EXPECT_FALSE(step->IsRunning());
    EXPECT_EQ(probe->GetWaitLimit(), 10000);
    probe->body = [](CStopEvent*) {
        usleep(20000);
        return S_FALSE;
    };
    EXPECT_EQ(step->TurnOn(), S_OK);
    EXPECT_TRUE(step->IsRunning());
    ASSERT_TRUE(WaitFor([this] { return !step->IsRunning(); }));
    EXPECT_EQ(CAsyncProbe::counters.executed.load(), 1);
    EXPECT_TRUE(CAsyncProbe::counters.sawStopEvent.load());
    EXPECT_EQ(probe->GetLastStatus(), S_FALSE);
    double ms = 0;
    EXPECT_EQ(step->get_ExecutionTime(&ms), S_OK);
    EXPECT_GE(ms, 19.0);
    EXPECT_EQ(step->get_ExecutionTime(nullptr), S_OK);
    // Switched on again after the worker ended.
    EXPECT_EQ(step->TurnOn(), S_OK);
    ASSERT_TRUE(WaitFor([this] { return !step->IsRunning(); }));
    EXPECT_EQ(CAsyncProbe::counters.executed.load(), 2);
}

TEST_F(AsynchronousStep, TurnOffStopsTheRunAndWaitsForIt) {
    RunUntilStopped();
    // On an idle step it changes nothing.
    EXPECT_EQ(step->TurnOff(), S_OK);
    EXPECT_FALSE(step->IsRunning());
    double ms = -1;
    step->get_ExecutionTime(&ms);
    EXPECT_EQ(ms, 0.0);
    EXPECT_EQ(CAsyncProbe::counters.executed.load(), 0);

    ASSERT_EQ(step->TurnOn(), S_OK);
    usleep(20000);
    EXPECT_EQ(step->TurnOff(), S_OK);
    // The worker has ended by the time TurnOff returns.
    EXPECT_FALSE(step->IsRunning());
    EXPECT_EQ(probe->GetLastStatus(), E_ABORT);
    step->get_ExecutionTime(&ms);
    EXPECT_GE(ms, 19.0);
}

TEST_F(AsynchronousStep, TurnOffGivesUpAfterTheWaitLimit) {
    // A limit well above scheduling noise, so "waited" and "returned at
    // once" cannot be confused on a loaded machine.
    probe->SetWaitLimit(400);
    RunUntilGateOpens();
    ASSERT_EQ(step->TurnOn(), S_OK);
    ASSERT_TRUE(WaitFor([this] { return gate.reached.load(); }));

    const auto start = Clock::now();
    EXPECT_EQ(step->TurnOff(), S_OK);
    const auto waited = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    EXPECT_GE(waited.count(), 400);
    EXPECT_LT(waited.count(), 5000);
    EXPECT_TRUE(step->IsRunning()) << "the worker still runs";
    EXPECT_EQ(step->TurnOn(), E_FAIL);

    // The stop was requested once: a second TurnOff returns at once.
    const auto again = Clock::now();
    EXPECT_EQ(step->TurnOff(), S_OK);
    EXPECT_LT(std::chrono::duration_cast<milliseconds>(Clock::now() - again).count(), 200);

    gate.open = true;
    ASSERT_TRUE(WaitFor([this] { return !step->IsRunning(); }));
    EXPECT_EQ(step->TurnOn(), S_OK) << "switched on again once the worker ended";
}

TEST_F(AsynchronousStep, WorkerKeepsTheComponentAliveAfterTheHostLetsGo) {
    RunUntilGateOpens();
    ASSERT_EQ(step->TurnOn(), S_OK);
    EXPECT_EQ(step->Release(), 1u) << "the run holds the other reference";
    step = nullptr; // the fixture must not release it again
    usleep(20000);
    EXPECT_EQ(CAsyncProbe::counters.destroyed.load(), 0);
    gate.open = true;
    EXPECT_TRUE(WaitFor([] { return CAsyncProbe::counters.destroyed.load() == 1; }));
    EXPECT_EQ(CAsyncProbe::counters.executed.load(), 1);
}

// A second TurnOn while running is refused and starts nothing.
TEST_F(AsynchronousStep, HundredSwitchingCyclesRefusingASecondTurnOn) {
    RunUntilStopped();
    for (int cycle = 0; cycle < 100; ++cycle) {
        ASSERT_EQ(step->TurnOn(), S_OK) << "cycle " << cycle;
        ASSERT_TRUE(step->IsRunning());
        ASSERT_EQ(step->TurnOn(), E_FAIL) << "cycle " << cycle;
        ASSERT_EQ(step->TurnOff(), S_OK);
        ASSERT_FALSE(step->IsRunning()) << "cycle " << cycle;
        ASSERT_EQ(CAsyncProbe::counters.executed.load(), cycle + 1) << "the refused TurnOn ran nothing";
    }
}

} // namespace
