#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <thread>

#include "module/DeferredCalls.h"

namespace Support {
namespace {

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
