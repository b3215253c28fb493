// A verb performed on a thread of its own, and a step that runs inside its
// TurnOn: the first Ctrl-C turns the step off, and the work's own status
// comes back with the interruption noted.
#include <gtest/gtest.h>

#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "cli/StepRunner.h"

namespace {

// A step whose TurnOff ends the work; not counted. With `inTurnOn` its
// TurnOn is the work: Ctrl-C, then a wait for TurnOff.
class StoppableStep final : public IStep {
public:
    explicit StoppableStep(bool inTurnOn = false) : m_inTurnOn(inTurnOn) {}
    std::atomic<int> turnOffs{0};

    HRESULT QueryInterface(const IID& iid, void** out) override {
        *out = iid == IID_IUnknown || iid == IID_IStep ? static_cast<IStep*>(this) : nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT TurnOn() override { return m_inTurnOn ? raise(SIGINT), WaitForStop() : S_OK; }
    HRESULT TurnOff() override { return turnOffs.fetch_add(1), S_OK; }
    bool IsRunning() override { return false; }
    HRESULT get_ExecutionTime(double*) override { return S_OK; }

    // Waits for TurnOff, at most five seconds.
    HRESULT WaitForStop() {
        for (int i = 0; i < 500 && turnOffs.load() == 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return turnOffs.load() > 0 ? E_ABORT : E_FAIL;
    }

private:
    bool m_inTurnOn;
};

TEST(RunStoppable, CtrlCTurnsTheStepOffWhileTheWorkRuns) {
    StoppableStep step;
    testing::internal::CaptureStderr();
    cli::StepOutcome outcome = cli::RunStoppable(&step, nullptr, [&] {
        raise(SIGINT);
        return step.WaitForStop();
    });
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(outcome.status, E_ABORT);
    EXPECT_TRUE(outcome.interrupted);
    EXPECT_EQ(step.turnOffs.load(), 1);
}

TEST(RunStoppable, CtrlCReachesAStepThatRunsInsideTurnOn) {
    StoppableStep step(true);
    testing::internal::CaptureStderr();
    const cli::StepOutcome outcome = cli::RunStep(&step, nullptr);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(outcome.status, E_ABORT);
    EXPECT_TRUE(outcome.interrupted);
    EXPECT_EQ(step.turnOffs.load(), 1);
}

} // namespace
