// What the pool runs.
#pragma once

#include <memory>
#include <utility>

#include "host/bus/common/RunningCalls.h"

namespace MessageBus {

class Task {
public:
    virtual ~Task() = default;
    // On a worker, which announces its calls in the slot.
    virtual void run(CallSlot& slot) noexcept = 0;
    // The worker of that slot has been in the same call for a while. True when what comes after the call may
    // go on without it: then the task is to be posted once more. Any thread.
    virtual bool releaseRest(CallSlot& slot, CallSlot::State seen) noexcept {
        static_cast<void>(slot);
        static_cast<void>(seen);
        return false;
    }

private:
    friend class TaskQueue;
    std::shared_ptr<Task> next_;
};

// First in, first out. Queueing takes no memory: a task stands in one queue at a time.
class TaskQueue {
public:
    TaskQueue() = default;
    ~TaskQueue() { clear(); }
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    bool empty() const noexcept { return !first_; }
    size_t size() const noexcept { return size_; }

    void push(std::shared_ptr<Task> task) noexcept {
        Task* const added = task.get();
        (last_ ? last_->next_ : first_) = std::move(task);
        last_ = added;
        ++size_;
    }
    // Null when there is none.
    std::shared_ptr<Task> pop() noexcept {
        std::shared_ptr<Task> task = std::move(first_);
        if (!task)
            return nullptr;
        first_ = std::move(task->next_);
        if (!first_)
            last_ = nullptr;
        --size_;
        return task;
    }
    // Takes all of another queue, in their order.
    void splice(TaskQueue& other) noexcept {
        if (other.empty())
            return;
        (last_ ? last_->next_ : first_) = std::move(other.first_);
        last_ = std::exchange(other.last_, nullptr);
        size_ += std::exchange(other.size_, 0);
    }
    // One by one: a long chain must not be freed by recursion.
    void clear() noexcept {
        while (pop())
            ;
    }

private:
    std::shared_ptr<Task> first_;
    Task* last_ = nullptr;
    size_t size_ = 0;
};

}  // namespace MessageBus
