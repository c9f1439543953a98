#include <gtest/gtest.h>
#include <thread>

#include "platform/Clock.h"

using namespace Platform;
using namespace std::chrono_literals;

namespace {

class BothClocks : public testing::TestWithParam<const Clock*> {
protected:
    const Clock& clock = *GetParam();
    Mutex mutex;
    ConditionVariable condition;
};

TEST_P(BothClocks, EndTheWaitOnlyWhenTheDeadlineHasPassed) {
    MutexLock lock(mutex);
    EXPECT_FALSE(clock.waitUntil(condition, lock, clock.now()));
    EXPECT_FALSE(clock.waitUntil(condition, lock, Clock::Time::min()));
    EXPECT_FALSE(condition.waitFor(lock, 0ns));
    EXPECT_FALSE(condition.waitFor(lock, std::chrono::nanoseconds::min()));
    const Clock::Time deadline = deadlineAfter(clock.now(), 20ms);
    while (clock.waitUntil(condition, lock, deadline)) {
    }
    EXPECT_GE(clock.now(), deadline);
}

// A waiter that gave up on a far deadline would show as a false return before the notification.
TEST_P(BothClocks, WaitForANotificationHoweverFarTheDeadline) {
    for (const Clock::Time deadline : {Clock::Time::max(), Clock::Time::max() - 1ns,
                                       deadlineAfter(clock.now(), std::chrono::seconds::max())}) {
        bool notified = false;
        std::thread notifier([&] {
            MutexLock lock(mutex);
            notified = true;
            condition.notifyOne();
        });
        {
            MutexLock lock(mutex);
            while (!notified)
                ASSERT_TRUE(clock.waitUntil(condition, lock, deadline));
        }
        notifier.join();
    }
}

// The wall clock looks at the time once a second; here the notification comes while it does.
TEST_P(BothClocks, NoticeWhatComesWhileTheyLookAtTheTime) {
    const Clock::Time deadline = clock.now() + 10s;
    bool waits = false, notified = false;
    std::thread notifier([&] {
        MutexLock lock(mutex);
        while (!waits)
            condition.wait(lock);
        // The waiter cannot go on before the lock is let go of.
        for (const auto looked = Clock::steady().now() + 1200ms; Clock::steady().now() < looked;)
            std::this_thread::yield();
        notified = true;
        condition.notifyAll();
    });
    {
        MutexLock lock(mutex);
        waits = true;
        condition.notifyAll();
        while (!notified && clock.waitUntil(condition, lock, deadline)) {
        }
        EXPECT_LT(clock.now(), deadline);
    }
    notifier.join();
}

INSTANTIATE_TEST_SUITE_P(Clocks, BothClocks, testing::Values(&Clock::wall(), &Clock::steady()));

TEST(Clocks, CountFromTheirOwnEpochs) {
    const auto since1970 = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_LT(std::chrono::abs(Clock::wall().now() - since1970), 1min);
    EXPECT_GE(utcCalendarTime().year, 2024);
    EXPECT_GE(localCalendarTime().month, 1);
    EXPECT_LE(localCalendarTime().month, 12);
}

TEST(OnceFlags, AnExceptionLeavesTheWorkToTheNextCaller) {
    Once once;
    int runs = 0;
    EXPECT_THROW(once.run([&] { throw ++runs; }), int);
    once.run([&] { ++runs; });
    once.run([&] { ++runs; });
    EXPECT_EQ(runs, 2);
}

}  // namespace
