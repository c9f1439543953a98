#include "bench/HandOver.h"

#include <chrono>
#include <pthread.h>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Bench {
namespace {

// Keeps the thread on one of the allowed cores.
void pin(pthread_t thread, const cpu_set_t& allowed, size_t which) {
    std::vector<int> cores;
    for (int core = 0; core < CPU_SETSIZE; ++core) {
        if (CPU_ISSET(core, &allowed))
            cores.push_back(core);
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cores.at(which % cores.size()), &one);
    pthread_setaffinity_np(thread, sizeof one, &one);
}

}  // namespace

void Signal::announce() {
    {
        std::lock_guard lock(mutex_);
        ++announced_;
    }
    changed_.notify_one();
}

void Signal::wait() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, std::chrono::seconds(60), [this] { return announced_ != 0; }))
        throw std::runtime_error("what was waited for did not come within a minute");
    --announced_;
}

HandOver::HandOver(std::function<void()> work) : work_(std::move(work)) {
    pthread_getaffinity_np(pthread_self(), sizeof before_, &before_);
    thread_ = std::thread([this] {
        for (there_.wait(); !ending_; there_.wait()) {
            work_();
            back_.announce();
        }
    });
    pin(pthread_self(), before_, 0);
    pin(thread_.native_handle(), before_, 1);
}

HandOver::~HandOver() {
    ending_ = true;
    there_.announce();
    thread_.join();
    pthread_setaffinity_np(pthread_self(), sizeof before_, &before_);
}

void HandOver::thereAndBack() {
    there_.announce();
    back_.wait();
}

}  // namespace Bench
