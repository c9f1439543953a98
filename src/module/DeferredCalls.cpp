#include "module/DeferredCalls.h"

#include <utility>

namespace Vok {

bool DeferredCalls::add(std::function<void()> call) {
    {
        Platform::MutexLock lock(mutex_);
        if (ended_ || calls_.size() >= limit)
            return false;
        if (!thread_.joinable())
            thread_ = Platform::Thread([this] { run(); });
        calls_.push_back(std::move(call));
    }
    changed_.notifyAll();
    return true;
}

void DeferredCalls::end() {
    std::deque<std::function<void()>> dropped;
    Platform::Thread thread;
    {
        Platform::MutexLock lock(mutex_);
        ended_ = true;
        dropped.swap(calls_);
        thread = std::move(thread_);
    }
    changed_.notifyAll();
    if (thread.joinable())
        thread.join();
}

void DeferredCalls::run() {
    Platform::MutexLock lock(mutex_);
    while (!ended_) {
        if (calls_.empty()) {
            changed_.wait(lock);
            continue;
        }
        std::function<void()> call = std::move(calls_.front());
        calls_.pop_front();
        lock.unlock();
        try {
            call();
        } catch (...) {
            // The message was taken over from the bus: there is nobody left to tell.
        }
        call = nullptr;
        lock.lock();
    }
}

}  // namespace Vok
