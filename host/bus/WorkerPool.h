// The threads that run callbacks.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>

#include "host/bus/BusLimits.h"
#include "host/bus/Task.h"
#include "platform/Clock.h"
#include "platform/Sync.h"
#include "platform/Thread.h"

namespace EmbeddedBus {

// Any task may block for as long as it likes. While tasks wait that no thread takes, the pool grows, at first
// at once and then by what its keeper thread sees; threads that stay idle are ended. Replies go before
// messages and have threads that messages cannot use.
//
//              | running                  | stopping
//   post       | runs the task            | drops it
//   setAlarm   | wakes the keeper in time | nothing
//   beginStop  | stopping                 | nothing
//   join       | not allowed              | waits until all threads are gone
class WorkerPool {
public:
    using Time = Platform::Clock::Time;
    // Called on the keeper's thread when the alarm time has come; returns the next one.
    using Alarm = std::function<Time()>;

    // Starts the keeper and the first worker; throws std::system_error when the system gives no thread.
    WorkerPool(const PoolLimits& limits, Alarm onAlarm);
    // Stopped and joined by then.
    ~WorkerPool();

    void postMessage(std::shared_ptr<Task> task);
    void postReply(std::shared_ptr<Task> task);
    // Never later than an alarm that is set already.
    void setAlarm(Time time);

    // Tasks that have not begun are dropped. Returns at once.
    void beginStop();
    // Not on a thread of the pool.
    void join();
    // Whether join would return without waiting for a task.
    bool ended();
    bool isOwnThread();
    size_t workerCount();

private:
    struct Member {
        Platform::Thread thread;
        uint32_t id = 0;
    };
    using Members = std::list<Member>;

    void start(void (WorkerPool::*body)(Members::iterator)) REQUIRES(mutex_);
    bool startWorker() REQUIRES(mutex_);
    // Has the keeper say once that the pool cannot grow, until it has shrunk again.
    void noteBound() REQUIRES(mutex_);
    void leave(Members::iterator self) REQUIRES(mutex_);
    void work(Members::iterator self);
    void keep(Members::iterator self);

    size_t takeable() const REQUIRES(mutex_);
    size_t available() const REQUIRES(mutex_) { return idle_ + starting_; }
    void provideThreads() REQUIRES(mutex_);
    void growWhileStalled(Time now) REQUIRES(mutex_);
    void shrink(Time now) REQUIRES(mutex_);
    void joinLeft(Platform::MutexLock& lock) NO_THREAD_SAFETY_ANALYSIS;

    const PoolLimits limits_;
    const Alarm onAlarm_;

    // Leaf, held for the bookkeeping and while a thread is started; never while a task runs, a thread is
    // joined or the alarm is served.
    Platform::Mutex mutex_;
    Platform::ConditionVariable workerWake_;
    Platform::ConditionVariable keeperWake_;
    Platform::ConditionVariable memberLeft_;
    bool stopping_ GUARDED_BY(mutex_) = false;
    TaskQueue replies_ GUARDED_BY(mutex_);
    TaskQueue messages_ GUARDED_BY(mutex_);
    // The keeper and the workers, until they have left; then those whose threads are to be joined.
    Members members_ GUARDED_BY(mutex_);
    Members left_ GUARDED_BY(mutex_);
    size_t joining_ GUARDED_BY(mutex_) = 0;

    size_t workers_ GUARDED_BY(mutex_) = 0;
    size_t starting_ GUARDED_BY(mutex_) = 0;  // workers that have not looked for a task yet
    size_t idle_ GUARDED_BY(mutex_) = 0;
    size_t leastIdle_ GUARDED_BY(mutex_) = 0;  // since the last look at what can be ended
    size_t retiring_ GUARDED_BY(mutex_) = 0;   // idle workers that are told to leave
    size_t runningMessages_ GUARDED_BY(mutex_) = 0;
    uint64_t taken_ GUARDED_BY(mutex_) = 0;  // tasks, ever
    uint64_t takenAtCheck_ GUARDED_BY(mutex_) = 0;
    bool boundReported_ GUARDED_BY(mutex_) = false;
    bool boundReportDue_ GUARDED_BY(mutex_) = false;

    Time alarm_ GUARDED_BY(mutex_) = Time::max();
    Time stallCheck_ GUARDED_BY(mutex_) = Time::max();
    Time shrinkCheck_ GUARDED_BY(mutex_) = Time::max();
};

}  // namespace EmbeddedBus
