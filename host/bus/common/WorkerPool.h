// The threads that run callbacks.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <vector>

#include "host/bus/common/BusLimits.h"
#include "host/bus/common/Task.h"
#include "host/bus/common/ThreadOwner.h"
#include "platform/Clock.h"
#include "platform/Sync.h"
#include "platform/Thread.h"
#include "platform/ThreadPointer.h"

namespace MessageBus {

// Any task may block for as long as it likes. Replies go before messages and have threads that messages
// cannot use. A task that is posted is taken, whichever comes first,
//  - by a worker that is looking for work, or was called before and has not come yet;
//  - by the worker that posts it from inside a task, when that has returned: no other is called for it,
//  unless
//    the poster says that it is going to wait;
//  - by an idle worker, which is called when there are more tasks than such workers, and calls the next one
//  in
//    turn while it finds that more remain for a while;
//  - by what the keeper thread calls or starts once it sees that tasks wait and none is taken. It also sees
//  when
//    a worker stays in one call, and has what its task has to do after that done by another.
// So a worker that blocks keeps nothing waiting for longer than about two stall times. A worker that finds
// nothing looks on for some microseconds before it sleeps, where there is a processor to spare: one at a
// time, the shorter the less it has found so lately. Threads that stay idle are ended; an idle pool runs
// nothing.
//
//              | running                  | stopping
//   post       | runs the task            | drops it
//   setAlarm   | wakes the keeper in time | nothing
//   beginStop  | stopping                 | nothing
//   join       | not allowed              | waits until all threads are gone
class WorkerPool : public ThreadOwner {
public:
    using Time = Platform::Clock::Time;
    // Called on the keeper's thread when the alarm time has come; returns the next one.
    using Alarm = std::function<Time()>;

    // Starts the keeper and the first worker; throws std::system_error when the system gives no thread.
    WorkerPool(const PoolLimits& limits, RunningCalls& calls, Alarm onAlarm);
    // Stopped and joined by then.
    ~WorkerPool() override;

    // Whether the poster, when it is a task of the pool, returns soon or waits for something first.
    enum class Poster { returns, waits };

    // The pool outlives the call: not only through the task.
    void postMessage(std::shared_ptr<Task> task, Poster poster = Poster::returns);
    void postReply(std::shared_ptr<Task> task);
    // The caller, when it is a task of the pool, is going to wait for what it has posted.
    void posterWaits();
    // Whether tasks wait that a worker may take.
    bool hasMore() const noexcept { return findable_.load(std::memory_order_relaxed) != 0; }
    // A task that has been posted has got more to do, behind a call that may block.
    void watch();
    // Never later than an alarm that is set already.
    void setAlarm(Time time);

    // Tasks that have not begun are dropped. Returns at once.
    void beginStop() override;
    // Not on a thread of the pool.
    void join() override;
    // Whether join would return without waiting for a task.
    bool ended() override;
    bool isOwnThread() const noexcept override { return self_.get() != nullptr; }
    size_t workerCount();

private:
    // Stays where it is until the pool's end, also when its thread has ended: it may just be being called.
    struct Member {
        Platform::Thread thread;
        Platform::ConditionVariable wake;
        CallSlot slot;
        std::shared_ptr<Task> task;      // that it runs, or null
        CallSlot::State seenInCall = 0;  // at the last check for stalls
        bool called = false;             // has something to do: look for work, or leave
        bool leaves = false;             // it is to end
        bool promised = false;           // will look for work when the task returns
    };
    using Members = std::list<Member>;

    void start(void (WorkerPool::*body)(Members::iterator)) REQUIRES(mutex_);
    bool startWorker() REQUIRES(mutex_);
    // Has the keeper say once that the pool cannot grow, until it has shrunk again.
    void noteBound() REQUIRES(mutex_);
    void leave(Members::iterator self) REQUIRES(mutex_);
    void work(Members::iterator self);
    void keep(Members::iterator self);

    void post(TaskQueue& tasks, bool areReplies, Poster poster);
    void run(Member& self, Platform::MutexLock& lock) NO_THREAD_SAFETY_ANALYSIS;
    // False when there was nothing to be found.
    bool look(Platform::MutexLock& lock) NO_THREAD_SAFETY_ANALYSIS;
    void sleep(Member& self, Platform::MutexLock& lock) NO_THREAD_SAFETY_ANALYSIS;

    size_t takeable() const REQUIRES(mutex_);
    // Workers that will look for a task without being called.
    size_t available() const REQUIRES(mutex_) { return looking_ + promised_; }
    // Of the idle workers the one that slept last; null when there is none. To be woken once the lock is
    // released.
    Member* callIdle() REQUIRES(mutex_);
    Member* provideThread() REQUIRES(mutex_);
    void startWatch() REQUIRES(mutex_);
    void checkForStall(Time now, Platform::MutexLock& lock) NO_THREAD_SAFETY_ANALYSIS;
    // Has others do what comes after calls that last. Whether any worker has got on.
    bool releaseStalled(Platform::MutexLock& lock) NO_THREAD_SAFETY_ANALYSIS;
    void shrink(Time now) REQUIRES(mutex_);
    void joinLeft(Platform::MutexLock& lock) NO_THREAD_SAFETY_ANALYSIS;

    const PoolLimits limits_;
    RunningCalls& calls_;
    const Alarm onAlarm_;
    const size_t mostSpinning_;
    const Platform::ThreadPointer self_;  // the Member, on the pool's threads

    // What a spinning worker looks at: takeable(), and more once the pool stops.
    std::atomic<size_t> findable_{0};
    std::atomic<bool> watching_{false};  // stallCheck_ is set, and has not just been found useless

    // Leaf, held for the bookkeeping and while a thread is started; never while a task runs, a thread is
    // woken or joined or the alarm is served.
    Platform::Mutex mutex_;
    Platform::ConditionVariable keeperWake_;
    Platform::ConditionVariable memberLeft_;
    bool stopping_ GUARDED_BY(mutex_) = false;
    TaskQueue replies_ GUARDED_BY(mutex_);
    TaskQueue messages_ GUARDED_BY(mutex_);
    // The keeper and the workers, until they have left; then those whose threads are to be joined; then those
    // without thread.
    Members members_ GUARDED_BY(mutex_);
    Members left_ GUARDED_BY(mutex_);
    Members spare_ GUARDED_BY(mutex_);
    size_t joining_ GUARDED_BY(mutex_) = 0;

    std::vector<Member*> idle_ GUARDED_BY(mutex_);  // by the time since when; room for all workers
    size_t workers_ GUARDED_BY(mutex_) = 0;
    size_t looking_ GUARDED_BY(mutex_) = 0;   // workers that spin, were called or have just been started
    size_t promised_ GUARDED_BY(mutex_) = 0;  // workers in a task that will look when it returns
    size_t spinning_ GUARDED_BY(mutex_) = 0;
    std::chrono::nanoseconds spinTime_ GUARDED_BY(mutex_);
    size_t leastIdle_ GUARDED_BY(mutex_) = 0;  // since the last look at what can be ended
    size_t runningMessages_ GUARDED_BY(mutex_) = 0;
    uint64_t taken_ GUARDED_BY(mutex_) = 0;  // tasks, ever
    uint64_t takenAtCheck_ GUARDED_BY(mutex_) = 0;
    unsigned quietChecks_ GUARDED_BY(mutex_) = 0;  // without a task taken or waiting, in a row
    bool boundReported_ GUARDED_BY(mutex_) = false;
    bool boundReportDue_ GUARDED_BY(mutex_) = false;

    Time alarm_ GUARDED_BY(mutex_) = Time::max();
    Time stallCheck_ GUARDED_BY(mutex_) = Time::max();
    Time shrinkCheck_ GUARDED_BY(mutex_) = Time::max();
};

}  // namespace MessageBus
