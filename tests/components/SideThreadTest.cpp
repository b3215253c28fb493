// The side thread that lists a destination while the source is listed.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include "components/SideThread.h"

namespace {

// Waits (bounded) until `flag` is set; false on time-out.
bool WaitFor(const std::atomic<bool>& flag) {
    for (int i = 0; i < 5000 && !flag.load(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return flag.load();
}

TEST(SideThread, RunsBothAtOnceOnTwoThreads) {
    SideThread side;
    std::atomic<bool> asideStarted{false};
    std::thread::id hereId, asideId;
    bool hereSawAside = false;
    side.RunBoth(
        [&] {
            hereId = std::this_thread::get_id();
            // Both run at once: `here` sees `aside` start before it returns.
            hereSawAside = WaitFor(asideStarted);
        },
        [&] {
            asideId = std::this_thread::get_id();
            asideStarted = true;
        });
    EXPECT_TRUE(hereSawAside);
    EXPECT_EQ(hereId, std::this_thread::get_id());
    EXPECT_NE(asideId, hereId);
}

TEST(SideThread, ReturnsOnlyWhenTheSideWorkIsDone) {
    SideThread side;
    for (int round = 0; round < 200; ++round) {
        int value = 0; // written aside, read here after RunBoth: no race
        side.RunBoth([] {}, [&] {
            std::this_thread::sleep_for(std::chrono::microseconds(round % 3 == 0 ? 200 : 0));
            value = round + 1;
        });
        ASSERT_EQ(value, round + 1);
    }
}

TEST(SideThread, ABusySideThreadLeavesTheOtherCallerToDoBoth) {
    SideThread side;
    std::atomic<bool> holding{false}, release{false};
    std::thread first([&] {
        side.RunBoth([&] {}, [&] {
            holding = true;
            while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    });
    ASSERT_TRUE(WaitFor(holding));
    std::thread::id asideId;
    int done = 0;
    side.RunBoth([&] { ++done; }, [&] {
        asideId = std::this_thread::get_id();
        ++done;
    });
    EXPECT_EQ(done, 2);
    EXPECT_EQ(asideId, std::this_thread::get_id());
    release = true;
    first.join();
}

TEST(SideThread, ExceptionsReachTheCallerAfterBothEnd) {
    SideThread side;
    struct Case {
        bool throwHere, throwAside;
        const char* expected; // the message rethrown; `here` wins when both throw
    };
    const Case cases[] = {{true, false, "here"}, {false, true, "aside"}, {true, true, "here"}};
    for (const Case& c : cases) {
        std::atomic<bool> asideFinished{false};
        try {
            side.RunBoth(
                [&] {
                    if (c.throwHere) throw std::runtime_error("here");
                },
                [&] {
                    std::this_thread::sleep_for(std::chrono::milliseconds(2));
                    asideFinished = true;
                    if (c.throwAside) throw std::runtime_error("aside");
                });
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), c.expected);
        }
        EXPECT_TRUE(asideFinished.load());
    }
    // Still usable afterwards.
    std::atomic<int> ran{0};
    side.RunBoth([&] { ++ran; }, [&] { ++ran; });
    EXPECT_EQ(ran, 2);
}

} // namespace
