#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/base/SerialQueue.h"

#include <atomic>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace quarrydex {

namespace {

TEST(ParallelTest, EveryIterationRunsOnceAndIsVisibleAfterwards) {
    for (std::size_t n : {0U, 1U, 2U, 3U, 1000U})
        for (unsigned threads : {0U, 1U, 2U, 7U}) {
            std::vector<int> calls(n); // plain ints: a missing happens-before shows under tsan
            parallelFor(n, threads, [&](std::size_t i) { ++calls[i]; });
            EXPECT_EQ(calls, std::vector<int>(n, 1)) << n << " on " << threads;
        }
}

TEST(ParallelTest, CallsFromManyThreadsAndFromWithinMakeProgress) {
    std::atomic<int> total{0};
    std::vector<std::thread> callers;
    for (int t = 0; t < 4; ++t)
        callers.emplace_back([&] {
            for (int round = 0; round < 50; ++round)
                parallelFor(4, 3,
                            [&](std::size_t) { parallelFor(3, 2, [&](std::size_t) { ++total; }); });
        });
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(total, 4 * 50 * 4 * 3);
}

TEST(ParallelTest, AQueueRunsTasksInOrderAndDropsThoseNotBegun) {
    std::vector<int> ran;
    std::atomic<bool> began{false};
    std::atomic<bool> mayEnd{false};
    std::jthread release;
    {
        SerialQueue queue;
        for (int i = 0; i < 100; ++i)
            queue.post([&, i] { ran.push_back(i); });
        queue.drain();
        std::vector<int> expected(100);
        std::iota(expected.begin(), expected.end(), 0);
        EXPECT_EQ(ran, expected);

        queue.post([&] {
            began = true;
            began.notify_one();
            mayEnd.wait(false);
        });
        began.wait(false);
        queue.post([&] { ran.push_back(-1); });
        release = std::jthread([&] {
            mayEnd = true;
            mayEnd.notify_one();
        });
    }
    // The task behind the running one may have begun before the queue ended, or not; never later.
    EXPECT_GE(ran.size(), 100U);
}

} // namespace

} // namespace quarrydex
