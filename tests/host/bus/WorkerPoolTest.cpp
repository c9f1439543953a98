#include <atomic>
#include <functional>
#include <memory>

#include "host/bus/BusFixture.h"
#include "host/bus/common/WorkerPool.h"

namespace {

using namespace std::chrono_literals;
using MessageBus::PoolLimits;
using MessageBus::WorkerPool;

struct FunctionTask : MessageBus::Task {
    explicit FunctionTask(std::function<void()> function) : body(std::move(function)) {}
    void run(MessageBus::CallSlot&) noexcept override { body(); }
    std::function<void()> body;
};

class Pool {
public:
    explicit Pool(
        const PoolLimits& limits, WorkerPool::Alarm alarm = [] { return WorkerPool::Time::max(); })
        : pool_(limits, calls_, std::move(alarm)) {}
    ~Pool() {
        pool_.beginStop();
        pool_.join();
    }
    void message(std::function<void()> body) {
        pool_.postMessage(std::make_shared<FunctionTask>(std::move(body)));
    }
    void reply(std::function<void()> body) {
        pool_.postReply(std::make_shared<FunctionTask>(std::move(body)));
    }
    WorkerPool& operator*() { return pool_; }

private:
    MessageBus::RunningCalls calls_;
    WorkerPool pool_;
};

TEST(WorkerPool, GrowsWhileItsThreadsBlockAndShrinksWhenTheyAreIdle) {
    Gate gate;
    Pool pool({.base = 2, .messageTasks = 32, .replyReserve = 2, .stallTime = 1ms, .shrinkTime = 5ms});
    for (int i = 0; i < 20; ++i)
        pool.message([&] { gate.pass(); });
    EXPECT_TRUE(gate.waitForArrivals(20));
    EXPECT_GE((*pool).workerCount(), 20u);
    gate.open();
    EXPECT_TRUE(eventually([&] { return (*pool).workerCount() == 2; }));
    std::atomic<bool> ran{false};
    pool.message([&] { ran = true; });
    EXPECT_TRUE(eventually([&] { return ran.load(); }));
}

TEST(WorkerPool, KeepsThreadsForRepliesWhenMessagesHaveTakenAllTheyMay) {
    Gate messages, reply;
    Pool pool({.base = 1, .messageTasks = 4, .replyReserve = 2, .stallTime = 1ms, .shrinkTime = 10s});
    for (int i = 0; i < 6; ++i)
        pool.message([&] { messages.pass(); });
    ASSERT_TRUE(messages.waitForArrivals(4));
    pool.reply([&] { reply.pass(); });
    pool.reply([&] { reply.open(); });
    EXPECT_TRUE(reply.waitForArrivals(1));
    EXPECT_EQ(messages.arrived(), 4);
    reply.open();
    messages.open();
    EXPECT_TRUE(messages.waitForArrivals(6));
}

TEST(WorkerPool, RunsWhatATaskPostsAlthoughThatTaskBlocks) {
    // Twice: who has once not come back is not counted on for ever.
    Gate blocked;
    std::atomic<int> ran{0};
    Pool pool({.base = 2, .stallTime = 1ms});
    for (int round = 1; round <= 2; ++round) {
        pool.message([&] {
            pool.message([&] { ++ran; });
            blocked.pass();
        });
        EXPECT_TRUE(eventually([&] { return ran == round; }));
    }
    pool.message([&] { ++ran; });
    EXPECT_TRUE(eventually([&] { return ran == 3; }));
    EXPECT_EQ(blocked.arrived(), 2);
    blocked.open();
}

TEST(WorkerPool, RingsTheAlarmAtTheEarliestTimeSet) {
    std::atomic<int> rings{0};
    const auto now = [] { return Platform::Clock::steady().now(); };
    Pool pool({}, [&] { return ++rings < 3 ? now() + 1ms : WorkerPool::Time::max(); });
    (*pool).setAlarm(now() + 1h);
    (*pool).setAlarm(now() + 1ms);
    (*pool).setAlarm(now() + 2h);
    EXPECT_TRUE(eventually([&] { return rings == 3; }));
}

}  // namespace
