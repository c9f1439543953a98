// The request that a command end what it does.
#pragma once

#include <chrono>
#include <functional>
#include <list>

#include "platform/Clock.h"
#include "platform/Sync.h"

namespace Host {

// Raised once, by a signal or by whoever runs the command. Any thread.
class StopRequest {
public:
    void raise() {
        Platform::MutexLock lock(mutex_);
        raised_ = true;
        changed_.notifyAll();
        for (const auto& listener : listeners_)
            listener();
    }
    bool raised() const {
        Platform::MutexLock lock(mutex_);
        return raised_;
    }
    void wait() {
        Platform::MutexLock lock(mutex_);
        while (!raised_)
            changed_.wait(lock);
    }
    // Whether it was raised before the time was over.
    bool waitFor(std::chrono::milliseconds time) {
        const Platform::Clock& clock = Platform::Clock::steady();
        const auto deadline = Platform::deadlineAfter(clock.now(), time);
        Platform::MutexLock lock(mutex_);
        while (!raised_ && clock.waitUntil(changed_, lock, deadline)) {
        }
        return raised_;
    }

    // Calls the function when the request is raised, or at once when it has been; not after destruction. The
    // function takes no lock but leaves.
    class Listener {
    public:
        Listener(StopRequest& request, std::function<void()> function) : request_(request) {
            Platform::MutexLock lock(request_.mutex_);
            if (request_.raised_)
                function();
            at_ = request_.listeners_.insert(request_.listeners_.end(), std::move(function));
        }
        ~Listener() {
            Platform::MutexLock lock(request_.mutex_);
            request_.listeners_.erase(at_);
        }
        Listener(const Listener&) = delete;
        Listener& operator=(const Listener&) = delete;

    private:
        StopRequest& request_;
        std::list<std::function<void()>>::iterator at_;
    };

private:
    // Guards the members below; listeners are called under it.
    mutable Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    bool raised_ GUARDED_BY(mutex_) = false;
    std::list<std::function<void()>> listeners_ GUARDED_BY(mutex_);
};

}  // namespace Host
