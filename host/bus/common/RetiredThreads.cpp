#include "host/bus/common/RetiredThreads.h"

#include <algorithm>
#include <utility>

#include "platform/ProcessWide.h"

namespace MessageBus {

void RetiredThreads::add(std::shared_ptr<ThreadOwner> owner) noexcept {
    owner->beginStop();
    Platform::MutexLock lock(mutex_);
    owners_.push_back(std::move(owner));
}

void RetiredThreads::reserve() {
    Platform::MutexLock lock(mutex_);
    owners_.reserve(owners_.size() + 2);
    pins_.reserve(pins_.size() + 1);
}

bool RetiredThreads::isOwnThread() {
    Platform::MutexLock lock(mutex_);
    return std::ranges::any_of(owners_, [](const auto& owner) { return owner->isOwnThread(); });
}

void RetiredThreads::pinLibrary() {
    LibraryPin pin = LibraryPin::take();
    Platform::MutexLock lock(mutex_);
    pins_.push_back(std::move(pin));
}

void RetiredThreads::reap(bool wait) {
    for (;;) {
        std::shared_ptr<ThreadOwner> owner;
        std::vector<LibraryPin> unneeded;
        {
            Platform::MutexLock lock(mutex_);
            const auto next = std::ranges::find_if(
                owners_, [&](const auto& candidate) { return wait || candidate->ended(); });
            if (next != owners_.end())
                owner = *next;
            else if (owners_.empty())
                unneeded.swap(pins_);
        }
        if (!owner)
            return;
        owner->join();
        Platform::MutexLock lock(mutex_);
        if (std::erase(owners_, owner) != 0)
            Platform::LibraryUse::leave();
    }
}

}  // namespace MessageBus
