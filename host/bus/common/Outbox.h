// What one handle publishes, in the order of publishing.
#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <memory>

#include "host/bus/common/Backlogs.h"
#include "host/bus/common/Publication.h"
#include "host/bus/common/Task.h"
#include "host/bus/common/WorkerPool.h"
#include "platform/Sync.h"

namespace MessageBus {

// Run as a task, it delivers its publications one after the other, each to one receiver after the other: one
// worker at a time, the driver, without a lock between two receivers. That is what keeps the order of this
// publisher for each subscription. When the driver stays in a call, the rest is released to another worker;
// what follows for the receiver in that call gets a backlog, and the driver no longer is one.
//
//                  | resting             | posted              | driven                  | driver in a long
//                  call
//   add            | posted: true        | queued              | queued                  | queued
//   run            | cannot happen       | driven              | cannot happen           | cannot happen
//   releaseRest    | false               | false               | false                   | posted, if more
//   waits last delivered | cannot happen       | cannot happen       | resting                 | resting
class Outbox : public Task, public std::enable_shared_from_this<Outbox> {
public:
    Outbox(std::shared_ptr<WorkerPool> delivering, RunningCalls& calls, Backlogs& backlogs) noexcept
        : pool(std::move(delivering)), calls_(calls), backlogs_(backlogs) {}

    // True when the outbox is to be posted for it.
    bool add(std::shared_ptr<const Publication> publication);

    void run(CallSlot& slot) noexcept override;
    bool releaseRest(CallSlot& slot, CallSlot::State seen) noexcept override;

    const std::shared_ptr<WorkerPool> pool;
    // Receivers that have a backlog of this publisher. Grows under the outbox's lock or by its driver only;
    // belongs to the backlogs' lock.
    std::atomic<size_t> backlogCount{0};

private:
    using Queue = std::list<std::shared_ptr<const Publication>>;

    // False when the rest has been released to another worker.
    bool drive(const std::shared_ptr<const Publication>& publication, size_t from, CallSlot& slot) noexcept;

    RunningCalls& calls_;
    Backlogs& backlogs_;

    // Not held while a callback runs. The backlogs' lock is taken under it.
    Platform::Mutex mutex_;
    Queue queue_ GUARDED_BY(mutex_);
    size_t nextReceiver_ GUARDED_BY(mutex_) = 0;  // of the first publication, unless it is driven
    bool posted_ GUARDED_BY(mutex_) = false;      // or driven
    CallSlot* driver_ GUARDED_BY(mutex_) = nullptr;
};

}  // namespace MessageBus
