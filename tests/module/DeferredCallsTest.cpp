#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <stdexcept>
#include <thread>
#include <vector>

#include "module/DeferredCalls.h"

namespace Support {
namespace {

TEST(DeferredCallsTest, RunInOrderOnAnotherThreadWhateverOneThrows) {
    std::vector<int> order;
    std::latch done(1);
    Vok::DeferredCalls calls;
    const auto caller = std::this_thread::get_id();
    EXPECT_TRUE(calls.add([&] {
        EXPECT_NE(std::this_thread::get_id(), caller);
        order.push_back(1);
        throw std::runtime_error("lost");
    }));
    EXPECT_TRUE(calls.add([&] { order.push_back(2); }));
    EXPECT_TRUE(calls.add([&] { done.count_down(); }));
    done.wait();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(DeferredCallsTest, AreRefusedBeyondTheLimitAndAfterTheEndWhichWaitsForTheOneThatRuns) {
    Vok::DeferredCalls calls;
    std::latch running(1), mayEnd(1);
    std::atomic<bool> finished{false};
    EXPECT_TRUE(calls.add([&] {
        running.count_down();
        mayEnd.wait();
        finished = true;
    }));
    running.wait();
    for (size_t i = 0; i < Vok::DeferredCalls::limit; ++i)
        ASSERT_TRUE(calls.add([] {}));
    EXPECT_FALSE(calls.add([] {}));
    std::thread ender([&] {
        calls.end();
        EXPECT_TRUE(finished);
    });
    mayEnd.count_down();
    ender.join();
    EXPECT_FALSE(calls.add([] {}));
}

}  // namespace
}  // namespace Support
