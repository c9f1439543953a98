#include "host/bus/common/WorkerPool.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

#include "platform/DebuggerOutput.h"
#include "platform/Processor.h"
#include "text/Format.h"

namespace MessageBus {

namespace {

using namespace std::chrono_literals;

// A worker that finds nothing looks on for between these times. The longest is a few wake-ups of a thread.
constexpr auto shortestSpin = std::chrono::nanoseconds(2us);
constexpr auto longestSpin = std::chrono::nanoseconds(50us);
// Of a loop that looks: so many pauses for one look at the clock, and the processor given up once.
constexpr int pausesPerCheck = 16;
// A worker that has been finding tasks for so long, and sees more, calls another one to help.
constexpr auto helpTime = std::chrono::nanoseconds(50us);
// The keeper looks for stalls until it has seen so many checks without any task.
constexpr unsigned quietChecksTillSleep = 20;

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

WorkerPool::WorkerPool(const PoolLimits& limits, RunningCalls& calls, Alarm onAlarm)
    : limits_(limits),
      calls_(calls),
      onAlarm_(std::move(onAlarm)),
      mostSpinning_(Platform::usableProcessors() > 1 ? 1 : 0),
      spinTime_(longestSpin) {
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

void WorkerPool::postMessage(std::shared_ptr<Task> task, Poster poster) {
    TaskQueue tasks;
    tasks.push(std::move(task));
    post(tasks, false, poster);
}

void WorkerPool::postReply(std::shared_ptr<Task> task) {
    TaskQueue tasks;
    tasks.push(std::move(task));
    post(tasks, true, Poster::returns);
}

void WorkerPool::post(TaskQueue& tasks, bool areReplies, Poster poster) {
    auto* const self = static_cast<Member*>(self_.get());
    Platform::MutexLock lock(mutex_);
    if (stopping_)
        return;
    (areReplies ? replies_ : messages_).splice(tasks);
    findable_.store(takeable(), std::memory_order_relaxed);
    if (self && self->task && self->promised != (poster == Poster::returns)) {
        self->promised = !self->promised;
        promised_ += self->promised ? 1 : size_t(-1);
    }
    Member* const called = provideThread();
    lock.unlock();
    if (called)
        called->wake.notifyOne();
}

void WorkerPool::posterWaits() {
    auto* const self = static_cast<Member*>(self_.get());
    if (!self)
        return;
    Platform::MutexLock lock(mutex_);
    if (!std::exchange(self->promised, false))
        return;
    --promised_;
    Member* const called = provideThread();
    lock.unlock();
    if (called)
        called->wake.notifyOne();
}

void WorkerPool::watch() {
    if (watching_)
        return;
    Platform::MutexLock lock(mutex_);
    startWatch();
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
    findable_.store(1, std::memory_order_relaxed);
    for (Member* const idle : idle_) {
        idle->called = true;
        idle->wake.notifyOne();
    }
    idle_.clear();
    keeperWake_.notifyAll();
}

void WorkerPool::join() {
    TaskQueue dropped;
    Platform::MutexLock lock(mutex_);
    while (!members_.empty() || !left_.empty() || joining_ > 0) {
        if (left_.empty())
            memberLeft_.wait(lock);
        else
            joinLeft(lock);
    }
    // A task may be what holds the pool.
    dropped.splice(replies_);
    dropped.splice(messages_);
    lock.unlock();
}

bool WorkerPool::ended() {
    Platform::MutexLock lock(mutex_);
    return members_.empty();
}

size_t WorkerPool::workerCount() {
    Platform::MutexLock lock(mutex_);
    return workers_;
}

void WorkerPool::start(void (WorkerPool::*body)(Members::iterator)) {
    if (spare_.empty())
        spare_.emplace_back();
    const auto self = spare_.begin();
    self->called = self->leaves = self->promised = false;
    calls_.add(self->slot);
    try {
        self->thread = Platform::Thread([this, body, self] { (this->*body)(self); });
    } catch (...) {
        calls_.remove(self->slot);
        throw;
    }
    members_.splice(members_.end(), spare_, self);
}

bool WorkerPool::startWorker() {
    if (workers_ >= limits_.messageTasks + limits_.replyReserve) {
        noteBound();
        return false;
    }
    try {
        idle_.reserve(workers_ + 1);
        start(&WorkerPool::work);
    } catch (...) {
        noteBound();
        return false;  // the keeper tries again while there is need
    }
    ++workers_;
    ++looking_;
    return true;
}

void WorkerPool::noteBound() {
    boundReportDue_ = !std::exchange(boundReported_, true) || boundReportDue_;
}

void WorkerPool::leave(Members::iterator self) {
    calls_.remove(self->slot);
    left_.splice(left_.end(), members_, self);
    memberLeft_.notifyAll();
    keeperWake_.notifyOne();
}

void WorkerPool::work(Members::iterator self) {
    const bool listed = self_.set(&*self);
    Platform::MutexLock lock(mutex_);
    --looking_;
    // One that cannot be told from the host's threads runs nothing.
    while (!stopping_ && !self->leaves && listed) {
        if (takeable() > 0)
            run(*self, lock);
        else if (!look(lock))
            sleep(*self, lock);
    }
    if (!listed)
        startWatch();  // what it was started for waits on
    --workers_;
    leave(self);
}

// Runs tasks until there is none.
void WorkerPool::run(Member& self, Platform::MutexLock& lock) {
    Time helpDue = Time::max();
    std::shared_ptr<Task> ended;  // let go of outside the lock
    while (!stopping_ && takeable() > 0) {
        const bool reply = !replies_.empty();
        self.task = (reply ? replies_ : messages_).pop();
        ++taken_;
        runningMessages_ += reply ? 0 : 1;
        const size_t remaining = takeable();
        findable_.store(remaining, std::memory_order_relaxed);
        Member* called = nullptr;
        if (remaining > available()) {
            const Time now = steadyNow();
            if (helpDue == Time::max())
                helpDue = Platform::deadlineAfter(now, helpTime);
            else if (now >= helpDue) {
                called = callIdle();
                helpDue = Platform::deadlineAfter(now, helpTime);
            }
        }
        Task& task = *self.task;
        lock.unlock();
        if (called)
            called->wake.notifyOne();
        ended.reset();
        task.run(self.slot);
        lock.lock();
        ended = std::move(self.task);
        if (std::exchange(self.promised, false))
            --promised_;
        runningMessages_ -= reply ? 0 : 1;
    }
    lock.unlock();
    ended.reset();
    lock.lock();
}

bool WorkerPool::look(Platform::MutexLock& lock) {
    if (spinning_ >= mostSpinning_)
        return false;
    ++spinning_;
    ++looking_;
    const auto longest = spinTime_;
    lock.unlock();
    const Time until = Platform::deadlineAfter(steadyNow(), longest);
    bool found;
    do {
        for (int pause = 0; pause < pausesPerCheck && findable_.load(std::memory_order_relaxed) == 0; ++pause)
            Platform::relaxProcessor();
        found = findable_.load(std::memory_order_relaxed) != 0;
        if (!found)
            Platform::yieldProcessor();
    } while (!found && steadyNow() < until);
    lock.lock();
    --looking_;
    --spinning_;
    found = stopping_ || takeable() > 0;
    spinTime_ = std::clamp(found ? spinTime_ * 2 : spinTime_ / 2, shortestSpin, longestSpin);
    return found;
}

void WorkerPool::sleep(Member& self, Platform::MutexLock& lock) {
    idle_.push_back(&self);
    const Time since = steadyNow();
    do
        self.wake.wait(lock);
    while (!self.called);
    self.called = false;
    if (stopping_ || self.leaves)
        return;
    --looking_;
    // Looking on for a little longer would have spared the wake-up.
    if (mostSpinning_ > 0 && steadyNow() - since < longestSpin)
        spinTime_ = std::min(spinTime_ * 4, longestSpin);
}

void WorkerPool::keep(Members::iterator self) {
    self_.set(&*self);
    Platform::MutexLock lock(mutex_);
    while (!stopping_) {
        const Time now = steadyNow();
        if (alarm_ <= now) {
            alarm_ = Time::max();
            lock.unlock();
            const Time next = onAlarm_();
            lock.lock();
            alarm_ = std::min(alarm_, next);
        } else if (std::exchange(boundReportDue_, false)) {
            const size_t callbacks = workers_ - idle_.size();
            lock.unlock();
            reportBound(callbacks);
            lock.lock();
        } else if (stallCheck_ <= now) {
            checkForStall(now, lock);
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

WorkerPool::Member* WorkerPool::callIdle() {
    if (idle_.empty())
        return nullptr;
    Member* const called = idle_.back();
    idle_.pop_back();
    leastIdle_ = std::min(leastIdle_, idle_.size());
    called->called = true;
    ++looking_;
    return called;
}

WorkerPool::Member* WorkerPool::provideThread() {
    Member* called = nullptr;
    if (takeable() > available()) {
        called = callIdle();
        if (!called && workers_ < limits_.base)
            startWorker();
    }
    // Not every task has a worker of its own that is sure to come: somebody must look after them.
    if (promised_ > 0 || replies_.size() + messages_.size() > looking_)
        startWatch();
    return called;
}

void WorkerPool::startWatch() {
    quietChecks_ = 0;
    watching_ = true;
    if (stallCheck_ != Time::max())
        return;
    takenAtCheck_ = taken_;
    stallCheck_ = Platform::deadlineAfter(steadyNow(), limits_.stallTime);
    keeperWake_.notifyOne();
}

void WorkerPool::checkForStall(Time now, Platform::MutexLock& lock) {
    const bool anyProgress = releaseStalled(lock);
    const bool anyTaken = taken_ != std::exchange(takenAtCheck_, taken_);
    const bool anyWaiting = !replies_.empty() || !messages_.empty();
    quietChecks_ = anyProgress || anyTaken || anyWaiting ? 0 : quietChecks_ + 1;
    // A watch that is asked for from here on starts anew: one more check must follow.
    watching_ = quietChecks_ + 2 < quietChecksTillSleep;
    stallCheck_ =
        quietChecks_ < quietChecksTillSleep ? Platform::deadlineAfter(now, limits_.stallTime) : Time::max();
    if (!anyWaiting)
        return;
    if (takeable() == 0) {
        // The next thread that ends a message takes what waits.
        noteBound();
        return;
    }
    if (!anyTaken) {
        // Who has promised to come is blocked, not busy.
        for (Member& member : members_)
            member.promised = false;
        promised_ = 0;
    }
    if (takeable() <= available())
        return;
    size_t wanted = anyTaken ? 1 : takeable() - available();
    for (; wanted > 0; --wanted) {
        Member* const called = callIdle();
        if (!called)
            break;
        called->wake.notifyOne();
    }
    for (wanted = std::min(wanted, workers_ + 1); wanted > 0 && startWorker(); --wanted)
        ;
    if (workers_ > limits_.base && shrinkCheck_ == Time::max()) {
        leastIdle_ = 0;
        shrinkCheck_ = Platform::deadlineAfter(now, limits_.shrinkTime);
    }
}

bool WorkerPool::releaseStalled(Platform::MutexLock& lock) {
    struct Stalled {
        std::shared_ptr<Task> task;
        Member* member;
    };
    bool anyProgress = false;
    std::vector<Stalled> stalled;
    for (Member& member : members_) {
        const CallSlot::State state = member.slot.state();
        if (!member.task)
            continue;
        if (state == 0 || !CallSlot::sameCall(state, member.seenInCall)) {
            member.seenInCall = state;
            anyProgress = true;
            continue;
        }
        try {
            stalled.push_back({member.task, &member});
            // Who has promised to come is blocked, not busy.
            promised_ -= std::exchange(member.promised, false) ? 1 : 0;
        } catch (const std::bad_alloc&) {
            anyProgress = true;  // the next check tries again
        }
    }
    if (stalled.empty())
        return anyProgress;
    lock.unlock();
    TaskQueue released;
    for (Stalled& each : stalled)
        if (each.task->releaseRest(each.member->slot, each.member->seenInCall))
            released.push(std::move(each.task));
    if (!released.empty())
        post(released, false, Poster::returns);
    stalled.clear();
    lock.lock();
    return anyProgress;
}

void WorkerPool::shrink(Time now) {
    size_t surplus = workers_ - std::min(workers_, limits_.base);
    // Those that have been idle for longest stand first.
    const size_t leaving = std::min({leastIdle_, surplus, idle_.size()});
    for (size_t i = 0; i < leaving; ++i) {
        idle_[i]->leaves = idle_[i]->called = true;
        idle_[i]->wake.notifyOne();
    }
    idle_.erase(idle_.begin(), idle_.begin() + static_cast<std::ptrdiff_t>(leaving));
    if (leaving > 0)
        boundReported_ = false;
    surplus -= leaving;
    leastIdle_ = idle_.size();
    shrinkCheck_ = surplus > 0 ? Platform::deadlineAfter(now, limits_.shrinkTime) : Time::max();
}

void WorkerPool::joinLeft(Platform::MutexLock& lock) {
    Members ended;
    ended.swap(left_);
    ++joining_;
    lock.unlock();
    for (Member& member : ended)
        member.thread.join();
    lock.lock();
    spare_.splice(spare_.end(), ended);
    --joining_;
    memberLeft_.notifyAll();
}

}  // namespace MessageBus
