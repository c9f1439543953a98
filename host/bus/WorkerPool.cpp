#include "host/bus/WorkerPool.h"

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

#include "platform/DebuggerOutput.h"
#include "text/Format.h"

namespace EmbeddedBus {

namespace {

Platform::Clock::Time steadyNow() {
    return Platform::Clock::steady().now();
}

void reportBound(size_t callbacks) noexcept {
    try {
        Platform::writeToDebugger(Ferrow::formatText(
            u"MessageBus: %zu callbacks are running and no further thread is to be had; what comes now "
            u"has to wait.\n",
            callbacks));
    } catch (...) {
    }
}

}  // namespace

WorkerPool::WorkerPool(const PoolLimits& limits, Alarm onAlarm)
    : limits_(limits), onAlarm_(std::move(onAlarm)) {
    try {
        Platform::MutexLock lock(mutex_);
        start(&WorkerPool::keep);
        if (!startWorker())
            throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    } catch (...) {
        beginStop();
        join();
        throw;
    }
}

WorkerPool::~WorkerPool() = default;

void WorkerPool::postMessage(std::shared_ptr<Task> task) {
    Platform::MutexLock lock(mutex_);
    if (stopping_)
        return;
    messages_.push(std::move(task));
    provideThreads();
}

void WorkerPool::postReply(std::shared_ptr<Task> task) {
    Platform::MutexLock lock(mutex_);
    if (stopping_)
        return;
    replies_.push(std::move(task));
    provideThreads();
}

void WorkerPool::setAlarm(Time time) {
    Platform::MutexLock lock(mutex_);
    if (time >= alarm_)
        return;
    alarm_ = time;
    keeperWake_.notifyOne();
}

void WorkerPool::beginStop() {
    Platform::MutexLock lock(mutex_);
    stopping_ = true;
    workerWake_.notifyAll();
    keeperWake_.notifyAll();
}

void WorkerPool::join() {
    Platform::MutexLock lock(mutex_);
    while (!members_.empty() || !left_.empty() || joining_ > 0) {
        if (left_.empty())
            memberLeft_.wait(lock);
        else
            joinLeft(lock);
    }
}

bool WorkerPool::ended() {
    Platform::MutexLock lock(mutex_);
    return members_.empty();
}

bool WorkerPool::isOwnThread() {
    const uint32_t id = Platform::currentThreadId();
    Platform::MutexLock lock(mutex_);
    return std::any_of(members_.begin(), members_.end(),
                       [&](const Member& member) { return member.id == id; });
}

size_t WorkerPool::workerCount() {
    Platform::MutexLock lock(mutex_);
    return workers_;
}

void WorkerPool::start(void (WorkerPool::*body)(Members::iterator)) {
    const auto self = members_.emplace(members_.end());
    try {
        self->thread = Platform::Thread([this, body, self] { (this->*body)(self); });
    } catch (...) {
        members_.erase(self);
        throw;
    }
}

bool WorkerPool::startWorker() {
    if (workers_ >= limits_.messageTasks + limits_.replyReserve) {
        noteBound();
        return false;
    }
    try {
        start(&WorkerPool::work);
    } catch (...) {
        noteBound();
        return false;  // the keeper tries again while there is need
    }
    ++workers_;
    ++starting_;
    return true;
}

void WorkerPool::noteBound() {
    boundReportDue_ = !std::exchange(boundReported_, true) || boundReportDue_;
}

void WorkerPool::leave(Members::iterator self) {
    left_.splice(left_.end(), members_, self);
    memberLeft_.notifyAll();
    keeperWake_.notifyOne();
}

void WorkerPool::work(Members::iterator self) {
    Platform::MutexLock lock(mutex_);
    self->id = Platform::currentThreadId();
    --starting_;
    while (!stopping_) {
        const bool reply = !replies_.empty();
        if (reply || takeable() > 0) {
            std::shared_ptr<Task> task = (reply ? replies_ : messages_).pop();
            ++taken_;
            runningMessages_ += reply ? 0 : 1;
            lock.unlock();
            task->run();
            task.reset();
            lock.lock();
            runningMessages_ -= reply ? 0 : 1;
            continue;
        }
        if (retiring_ > 0) {
            --retiring_;
            break;
        }
        ++idle_;
        workerWake_.wait(lock);
        --idle_;
        leastIdle_ = std::min(leastIdle_, idle_);
    }
    --workers_;
    leave(self);
}

void WorkerPool::keep(Members::iterator self) {
    Platform::MutexLock lock(mutex_);
    self->id = Platform::currentThreadId();
    while (!stopping_) {
        const Time now = steadyNow();
        if (alarm_ <= now) {
            alarm_ = Time::max();
            lock.unlock();
            const Time next = onAlarm_();
            lock.lock();
            alarm_ = std::min(alarm_, next);
        } else if (std::exchange(boundReportDue_, false)) {
            const size_t callbacks = workers_ - available();
            lock.unlock();
            reportBound(callbacks);
            lock.lock();
        } else if (stallCheck_ <= now) {
            growWhileStalled(now);
        } else if (shrinkCheck_ <= now) {
            shrink(now);
        } else if (!left_.empty()) {
            joinLeft(lock);
        } else {
            Platform::Clock::steady().waitUntil(keeperWake_, lock,
                                                std::min({alarm_, stallCheck_, shrinkCheck_}));
        }
    }
    leave(self);
}

size_t WorkerPool::takeable() const {
    const size_t free = limits_.messageTasks - std::min(limits_.messageTasks, runningMessages_);
    return replies_.size() + std::min(messages_.size(), free);
}

void WorkerPool::provideThreads() {
    if (idle_ > 0)
        workerWake_.notifyOne();
    const size_t waiting = replies_.size() + messages_.size();
    if (waiting <= available() && waiting == takeable())
        return;
    if (workers_ < limits_.base && startWorker())
        return;
    // Threads that are merely busy will get to it; starting one for each task would only make them slower.
    if (stallCheck_ == Time::max()) {
        takenAtCheck_ = taken_;
        stallCheck_ = Platform::deadlineAfter(steadyNow(), limits_.stallTime);
        keeperWake_.notifyOne();
    }
}

void WorkerPool::growWhileStalled(Time now) {
    stallCheck_ = Time::max();
    if (replies_.empty() && messages_.empty())
        return;
    if (takeable() == 0) {
        // The next thread that ends a message takes what waits.
        noteBound();
        return;
    }
    if (takeable() > available()) {
        // Nothing taken since the last look: the threads are blocked, not busy.
        const size_t wanted = taken_ == takenAtCheck_ ? std::min(takeable() - available(), workers_ + 1) : 1;
        for (size_t started = 0; started < wanted && startWorker(); ++started)
            ;
        if (workers_ > limits_.base && shrinkCheck_ == Time::max()) {
            leastIdle_ = 0;
            shrinkCheck_ = Platform::deadlineAfter(now, limits_.shrinkTime);
        }
    }
    takenAtCheck_ = taken_;
    stallCheck_ = Platform::deadlineAfter(now, limits_.stallTime);
}

void WorkerPool::shrink(Time now) {
    const size_t surplus = workers_ - std::min(workers_, limits_.base);
    retiring_ = std::min(leastIdle_, surplus);
    if (retiring_ > 0) {
        boundReported_ = false;
        workerWake_.notifyAll();
    }
    leastIdle_ = idle_;
    shrinkCheck_ = surplus > retiring_ ? Platform::deadlineAfter(now, limits_.shrinkTime) : Time::max();
}

void WorkerPool::joinLeft(Platform::MutexLock& lock) {
    Members ended;
    ended.swap(left_);
    ++joining_;
    lock.unlock();
    for (Member& member : ended)
        member.thread.join();
    ended.clear();
    lock.lock();
    --joining_;
    memberLeft_.notifyAll();
}

}  // namespace EmbeddedBus
