#include "alerts/sessions/AlertQueue.h"

#include <functional>
#include <iterator>
#include <utility>

namespace Vok {

namespace {
size_t hashOf(const std::u16string& id) {
    return std::hash<std::u16string>()(id);
}
}  // namespace

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

bool AlertQueue::hasDuplicateOf(const Alert& alert) {
    return alert.canBeDuplicate() && byTexts_.find(alert.duplicateHash(), [&](Lane::iterator queued) {
        return queued->alert->isDuplicateOf(alert);
    });
}

AlertQueue::OfOneId* AlertQueue::find(const std::u16string& id, size_t hash) {
    return byId_.find(
        hash, [&](const OfOneId& alerts) { return alerts.begin()->second->alert->getInfo().id == id; });
}

void AlertQueue::index(Lane::iterator entry) {
    ++count_;
    const Alert& alert = *entry->alert;
    const size_t hash = hashOf(alert.getInfo().id);
    if (OfOneId* sameId = find(alert.getInfo().id, hash))
        sameId->emplace_hint(sameId->end(), entry->position, entry);
    else
        byId_.insert(hash, {{entry->position, entry}});
    if (alert.canBeDuplicate())
        byTexts_.insert(alert.duplicateHash(), entry);
}

std::shared_ptr<Alert> AlertQueue::unlink(Lane::iterator entry) {
    std::shared_ptr<Alert> alert = entry->alert;
    byTexts_.erase(alert->duplicateHash(), [&](Lane::iterator queued) { return queued == entry; });
    const size_t hash = hashOf(alert->getInfo().id);
    OfOneId* sameId = find(alert->getInfo().id, hash);
    if (sameId && sameId->size() == 1 && sameId->begin()->second == entry)
        byId_.erase(hash, [&](const OfOneId& alerts) { return &alerts == sameId; });
    else if (sameId)
        sameId->erase(entry->position);
    const auto lane = lanes_.find(entry->position.priority);
    lane->second.erase(entry);
    if (lane->second.empty())
        lanes_.erase(lane);
    --count_;
    return alert;
}

std::shared_ptr<Alert> AlertQueue::takeById(const std::u16string& id) {
    Platform::MutexLock lock(mutex_);
    const OfOneId* sameId = find(id, hashOf(id));
    return sameId ? unlink(sameId->begin()->second) : nullptr;
}

std::shared_ptr<Alert> AlertQueue::front() const {
    Platform::MutexLock lock(mutex_);
    return lanes_.empty() ? nullptr : lanes_.begin()->second.front().alert;
}

std::shared_ptr<Alert> AlertQueue::pop() {
    Platform::MutexLock lock(mutex_);
    return lanes_.empty() ? nullptr : unlink(lanes_.begin()->second.begin());
}

void AlertQueue::clear() {
    std::map<int32_t, Lane> lanes;
    HashIndex<OfOneId> byId;
    HashIndex<Lane::iterator> byTexts;
    Platform::MutexLock lock(mutex_);
    std::swap(lanes_, lanes);
    std::swap(byId_, byId);
    std::swap(byTexts_, byTexts);
    count_ = 0;
    lock.unlock();
}

uint64_t AlertQueue::size() const {
    Platform::MutexLock lock(mutex_);
    return count_;
}

}  // namespace Vok
