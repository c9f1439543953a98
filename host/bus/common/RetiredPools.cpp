#include "host/bus/common/RetiredPools.h"

#include <algorithm>
#include <utility>

#include "platform/ProcessWide.h"

namespace MessageBus {

void RetiredPools::add(std::shared_ptr<WorkerPool> pool) noexcept {
    pool->beginStop();
    Platform::MutexLock lock(mutex_);
    pools_.push_back(std::move(pool));
}

void RetiredPools::reserve() {
    Platform::MutexLock lock(mutex_);
    pools_.reserve(pools_.size() + 1);
    pins_.reserve(pins_.size() + 1);
}

bool RetiredPools::isOwnThread() {
    Platform::MutexLock lock(mutex_);
    return std::ranges::any_of(pools_, [](const auto& pool) { return pool->isOwnThread(); });
}

void RetiredPools::pinLibrary() {
    LibraryPin pin = LibraryPin::take();
    Platform::MutexLock lock(mutex_);
    pins_.push_back(std::move(pin));
}

void RetiredPools::reap(bool wait) {
    for (;;) {
        std::shared_ptr<WorkerPool> pool;
        std::vector<LibraryPin> unneeded;
        {
            Platform::MutexLock lock(mutex_);
            const auto next = std::ranges::find_if(
                pools_, [&](const auto& candidate) { return wait || candidate->ended(); });
            if (next != pools_.end())
                pool = *next;
            else if (pools_.empty())
                unneeded.swap(pins_);
        }
        if (!pool)
            return;
        pool->join();
        Platform::MutexLock lock(mutex_);
        if (std::erase(pools_, pool) != 0)
            Platform::LibraryUse::leave();
    }
}

}  // namespace MessageBus
