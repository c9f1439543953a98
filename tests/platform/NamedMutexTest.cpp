#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "platform/NamedMutex.h"
#include "support/PlatformFolder.h"

using Platform::NamedMutex;
using namespace std::chrono_literals;

namespace {

class NamedMutexes : public testing::Test {
protected:
    static std::future<bool> acquiredElsewhere(NamedMutex& mutex, std::chrono::milliseconds timeout) {
        return std::async(std::launch::async, [&mutex, timeout] {
            const bool acquired = mutex.acquire(timeout);
            if (acquired)
                mutex.release();
            return acquired;
        });
    }

    Support::PlatformFolder folder;
    std::unique_ptr<NamedMutex> first =
        NamedMutex::create(u"Global\\Corvane.{1} test/\u00e9", folder.portable());
    std::unique_ptr<NamedMutex> second =
        NamedMutex::create(u"Global\\Corvane.{1} test/\u00e9", folder.portable());
    std::unique_ptr<NamedMutex> other =
        NamedMutex::create(u"Global\\Corvane.{2} test/\u00e9", folder.portable());
};

TEST_F(NamedMutexes, OfOneNameExcludeEachOtherUntilTheTimeRunsOut) {
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    ASSERT_TRUE(other);
    ASSERT_TRUE(first->acquire(0ms));
    EXPECT_FALSE(acquiredElsewhere(*first, 5ms).get());
    EXPECT_FALSE(acquiredElsewhere(*second, 0ms).get());
    EXPECT_TRUE(acquiredElsewhere(*other, 0ms).get());
    auto waiting = acquiredElsewhere(*second, std::chrono::milliseconds::max());
    first->release();
    EXPECT_TRUE(waiting.get());
}

TEST_F(NamedMutexes, LetOneThreadInAtATime) {
    int counter = 0;  // unguarded but for the mutexes
    std::vector<std::jthread> threads;
    for (NamedMutex* mutex : {first.get(), first.get(), second.get(), second.get()}) {
        threads.emplace_back([&counter, mutex] {
            for (int round = 0; round < 500; ++round) {
                ASSERT_TRUE(mutex->acquire(60s));
                ++counter;
                mutex->release();
            }
        });
    }
    threads.clear();
    EXPECT_EQ(counter, 2000);
}

}  // namespace
