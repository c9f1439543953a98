// What several threads of a test share: its lock, and the news of its changes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace Support {

// How long a test waits for what must come.
constexpr std::chrono::seconds patience{20};

// Looks again and again. False when it does not come true in time.
template <class Condition>
bool eventually(const Condition& condition, std::chrono::seconds time = patience) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

// A base class. What is derived from it is read and changed under its lock alone.
class Monitor {
public:
    // Lets those who wait look once the work is done.
    template <class Work>
    auto locked(const Work& work) const {
        std::lock_guard lock(mutex_);
        changed_.notify_all();
        return work();
    }
    // Looks after each change. False when it does not come true in time.
    template <class Condition>
    bool comes(const Condition& condition) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, condition);
    }
    // The same, for as long as it takes.
    template <class Condition>
    void await(const Condition& condition) const {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, condition);
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
};

}  // namespace Support
