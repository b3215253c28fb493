// The synchronous step: Execute runs inside TurnOn on the caller's thread.
#include <gtest/gtest.h>

#include <thread>

#include "StepProbes.h"

namespace {

class SynchronousStep : public ::testing::Test {
protected:
    void SetUp() override {
        CSyncProbe::counters.Reset();
        step = CreateStep<CSyncProbe>();
        ASSERT_NE(step, nullptr);
        probe = ProbeOf<CSyncProbe>(step);
    }
    void TearDown() override {
        if (step) {
            EXPECT_EQ(step->Release(), 0u);
        }
    }
    IStep* step = nullptr;
    CSyncProbe* probe = nullptr;
};

TEST_F(SynchronousStep, TurnOnReturnsWhatExecuteReturns) {
    const HRESULT statuses[] = {S_OK, S_FALSE, E_FAIL, E_ABORT, 42};
    for (HRESULT status : statuses) {
        probe->body = [status](CStopEvent*) { return status; };
        EXPECT_EQ(step->TurnOn(), status);
    }
    EXPECT_EQ(CSyncProbe::counters.executed.load(), 5);
    // A synchronous run cannot be stopped: Execute gets no stop event.
    EXPECT_FALSE(CSyncProbe::counters.sawStopEvent.load());
}

TEST_F(SynchronousStep, MeasuresTheExecutionTime) {
    double ms = -1;
    EXPECT_EQ(step->get_ExecutionTime(&ms), S_OK);
    EXPECT_EQ(ms, 0.0);
    EXPECT_EQ(step->get_ExecutionTime(nullptr), S_OK);

    probe->body = [](CStopEvent*) {
        usleep(60000);
        return S_OK;
    };
    step->TurnOn();
    EXPECT_EQ(step->get_ExecutionTime(&ms), S_OK);
    EXPECT_GE(ms, 59.0);
    EXPECT_LT(ms, 3000.0);

    probe->body = nullptr;
    step->TurnOn();
    step->get_ExecutionTime(&ms);
    EXPECT_LT(ms, 59.0) << "each run measures itself";
}

TEST_F(SynchronousStep, TurnOffIsNotImplementedEvenDuringARun) {
    EXPECT_EQ(step->TurnOff(), E_NOTIMPL);
    EXPECT_FALSE(step->IsRunning());

    Gate gate;
    probe->body = [&gate](CStopEvent*) {
        gate.Wait();
        return S_OK;
    };
    std::thread runner([this] { EXPECT_EQ(step->TurnOn(), S_OK); });
    ASSERT_TRUE(WaitFor([&] { return gate.reached.load(); }));
    EXPECT_EQ(step->TurnOff(), E_NOTIMPL);
    EXPECT_FALSE(step->IsRunning());
    gate.open = true;
    runner.join();
}

} // namespace
