#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <system_error>

#include "platform/Process.h"
#include "platform/Thread.h"

using Platform::Thread;

namespace {

TEST(Threads, RunTheirBodyAndReleaseItBeforeTheJoinReturns) {
    auto held = std::make_shared<int>(0);
    uint32_t number = 0;
    Thread thread([held, &number] {
        *held = 1;
        number = Platform::currentThreadId();
    });
    EXPECT_TRUE(thread.joinable());
    thread.join();
    EXPECT_FALSE(thread.joinable());
    EXPECT_EQ(*held, 1);
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_NE(number, Platform::currentThreadId());
}

TEST(Threads, RefuseToJoinThemselves) {
    Thread thread;
    std::promise<void> assigned;
    std::error_code error;
    thread = Thread([&] {
        assigned.get_future().wait();
        try {
            thread.join();
        } catch (const std::system_error& failure) {
            error = failure.code();
        }
    });
    assigned.set_value();
    thread.join();
    EXPECT_EQ(error, std::errc::resource_deadlock_would_occur);
}

TEST(Threads, MoveWithoutLosingTheThread) {
    std::atomic<bool> ran{false};
    Thread first([&] { ran = true; });
    Thread second(std::move(first));
    EXPECT_FALSE(first.joinable());
    second.join();
    EXPECT_TRUE(ran);
    EXPECT_THROW(second.join(), std::system_error);
    EXPECT_THROW(Thread().join(), std::system_error);
}

TEST(Processes, LastErrorsBelongToTheirThread) {
    Platform::setLastError(1234);
    Thread other([] { Platform::setLastError(77); });
    other.join();
    EXPECT_EQ(Platform::lastError(), 1234u);
}

}  // namespace
