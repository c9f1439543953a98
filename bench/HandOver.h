// A hand-over between threads: the least that asking another thread costs.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <sched.h>
#include <thread>

namespace Bench {

// What one thread waits for and another announces.
class Signal {
public:
    void announce();
    // Takes one announcement. Throws when none comes in time.
    void wait();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned announced_ = 0;
};

// A thread on a core of its own that works when it is told to, by mutex and condition variable. As long as it
// lives its maker is kept on another core, where there is more than one.
class HandOver {
public:
    explicit HandOver(std::function<void()> work = [] {});
    ~HandOver();
    HandOver(const HandOver&) = delete;
    HandOver& operator=(const HandOver&) = delete;

    // Has the other thread work, and waits until it has said so.
    void thereAndBack();

private:
    cpu_set_t before_{};
    Signal there_, back_;
    std::function<void()> work_;
    bool ending_ = false;  // read after there_, written before it
    std::thread thread_;
};

}  // namespace Bench
