#include <future>
#include <gtest/gtest.h>
#include <system_error>

#include "platform/Thread.h"

using Platform::Thread;

namespace {

TEST(Threads, RunTheirBodyAndReleaseItBeforeTheJoinReturns) {
    const auto held = std::make_shared<uint32_t>(0);
    Thread first([held] { *held = Platform::currentThreadId(); });
    Thread thread(std::move(first));
    EXPECT_FALSE(first.joinable());
    EXPECT_TRUE(thread.joinable());
    thread.join();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_NE(*held, 0u);
    EXPECT_NE(*held, Platform::currentThreadId());
    EXPECT_THROW(thread.join(), std::system_error);
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

}  // namespace
