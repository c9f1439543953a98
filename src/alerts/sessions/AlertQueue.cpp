#include "alerts/sessions/AlertQueue.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Vok {

bool AlertQueue::insert(std::shared_ptr<Alert>&& alert) {
    if (!alert)
        return false;
    Platform::MutexLock lock(mutex_);
    if (hasDuplicateOf(*alert))
        return false;
    const int32_t priority = alert->getInfo().priority;
    Lane added;
    added.push_back({alert, {priority, arrivals_++}});
    Lane& lane = lanes_[priority];
    lane.splice(lane.end(), added);
    const auto entry = std::prev(lane.end());
    try {
        index(entry);
    } catch (...) {
        // Short of memory half way: as if it had never come.
        unlink(entry);
        throw;
    }
    alert.reset();
    return true;
}

bool AlertQueue::hasDuplicateOf(const Alert& alert) const {
    if (!alert.canBeDuplicate())
        return false;
    const auto [first, last] = byTexts_.equal_range(alert.duplicateHash());
    return std::any_of(first, last,
                       [&](const auto& queued) { return queued.second->alert->isDuplicateOf(alert); });
}

void AlertQueue::index(Lane::iterator entry) {
    const Alert& alert = *entry->alert;
    ++count_;
    OfOneId& sameId = byId_[alert.getInfo().id];
    sameId.emplace_hint(sameId.end(), entry->position, entry);
    if (alert.canBeDuplicate())
        byTexts_.emplace(alert.duplicateHash(), entry);
}

std::shared_ptr<Alert> AlertQueue::unlink(Lane::iterator entry) {
    std::shared_ptr<Alert> alert = std::move(entry->alert);
    const auto [first, last] = byTexts_.equal_range(alert->duplicateHash());
    const auto texts = std::find_if(first, last, [&](const auto& queued) { return queued.second == entry; });
    if (texts != last)
        byTexts_.erase(texts);
    if (const auto sameId = byId_.find(alert->getInfo().id); sameId != byId_.end()) {
        sameId->second.erase(entry->position);
        if (sameId->second.empty())
            byId_.erase(sameId);
    }
    const auto lane = lanes_.find(entry->position.priority);
    lane->second.erase(entry);
    if (lane->second.empty())
        lanes_.erase(lane);
    --count_;
    return alert;
}

std::shared_ptr<Alert> AlertQueue::takeById(const std::u16string& id) {
    Platform::MutexLock lock(mutex_);
    const auto sameId = byId_.find(id);
    return sameId == byId_.end() ? nullptr : unlink(sameId->second.begin()->second);
}

std::shared_ptr<Alert> AlertQueue::front() const {
    Platform::MutexLock lock(mutex_);
    return lanes_.empty() ? nullptr : lanes_.begin()->second.front().alert;
}

std::shared_ptr<Alert> AlertQueue::pop() {
    Platform::MutexLock lock(mutex_);
    return lanes_.empty() ? nullptr : unlink(lanes_.begin()->second.begin());
}

uint64_t AlertQueue::size() const {
    Platform::MutexLock lock(mutex_);
    return count_;
}

}  // namespace Vok
