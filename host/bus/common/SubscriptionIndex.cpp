#include "host/bus/common/SubscriptionIndex.h"

#include <algorithm>

namespace MessageBus {

void SubscriptionIndex::add(const std::shared_ptr<Subscription>& subscription) {
    if (!subscription->pattern) {
        addTo(names_, subscription);
        return;
    }
    const Ferrow::PatternHead head = Ferrow::patternHead(subscription->text);
    auto shape = findShape(head);
    if (shape == shapes_.end())
        shape = shapes_.insert(shape, Shape{head, {}});
    try {
        addTo(shape->heads[head.units], subscription);
    } catch (...) {
        if (const auto found = shape->heads.find(head.units);
            found != shape->heads.end() && found->second.empty())
            shape->heads.erase(found);
        if (shape->heads.empty())
            shapes_.erase(shape);
        throw;
    }
}

void SubscriptionIndex::remove(const Subscription& subscription) {
    if (!subscription.pattern) {
        removeFrom(names_, subscription);
        return;
    }
    const Ferrow::PatternHead head = Ferrow::patternHead(subscription.text);
    const auto shape = findShape(head);
    const auto patterns = shape->heads.find(head.units);
    removeFrom(patterns->second, subscription);
    if (patterns->second.empty())
        shape->heads.erase(patterns);
    if (shape->heads.empty())
        shapes_.erase(shape);
}

void SubscriptionIndex::collect(std::u16string_view name, Receivers& receivers,
                                std::vector<Candidate>& candidates) const {
    if (const auto bucket = names_.find(name); bucket != names_.end())
        receivers.add(bucket->second.groups());
    std::u16string head;
    for (const Shape& shape : shapes_) {
        if (!shape.sample.cut(name, head))
            continue;
        const auto patterns = shape.heads.find(head);
        if (patterns == shape.heads.end())
            continue;
        for (const auto& [text, bucket] : patterns->second)
            candidates.push_back({bucket.groups().front()->front()->pattern, bucket.groups()});
    }
}

void SubscriptionIndex::Bucket::add(const std::shared_ptr<Subscription>& added) {
    const bool opens = groups_.empty() || groups_.back()->size() == receiverGroupSize;
    auto last = opens ? std::make_shared<ReceiverGroup>() : std::make_shared<ReceiverGroup>(*groups_.back());
    last->push_back(added);
    if (opens)
        groups_.push_back(std::move(last));
    else
        groups_.back() = std::move(last);
    added->place = (groups_.size() - 1) * receiverGroupSize + groups_.back()->size() - 1;
}

// The last one takes the place of the removed one.
void SubscriptionIndex::Bucket::remove(const Subscription& removed) {
    const size_t place = removed.place;
    auto last = std::make_shared<ReceiverGroup>(*groups_.back());
    const std::shared_ptr<Subscription> moved = last->back();
    last->pop_back();
    auto& group = groups_[place / receiverGroupSize];
    if (moved.get() != &removed) {
        auto changed = &group == &groups_.back() ? last : std::make_shared<ReceiverGroup>(*group);
        (*changed)[place % receiverGroupSize] = moved;
        moved->place = place;
        group = std::move(changed);
    }
    if (last->empty())
        groups_.pop_back();
    else
        groups_.back() = std::move(last);
}

void SubscriptionIndex::addTo(ByText<Bucket>& buckets, const std::shared_ptr<Subscription>& added) {
    const auto bucket = buckets.try_emplace(added->text).first;
    try {
        bucket->second.add(added);
    } catch (...) {
        if (bucket->second.empty())
            buckets.erase(bucket);
        throw;
    }
}

void SubscriptionIndex::removeFrom(ByText<Bucket>& buckets, const Subscription& removed) {
    const auto bucket = buckets.find(removed.text);
    bucket->second.remove(removed);
    if (bucket->second.empty())
        buckets.erase(bucket);
}

std::list<SubscriptionIndex::Shape>::iterator SubscriptionIndex::findShape(const Ferrow::PatternHead& head) {
    return std::find_if(shapes_.begin(), shapes_.end(), [&](const Shape& shape) {
        return shape.sample.units.size() == head.units.size() && shape.sample.wildcards == head.wildcards;
    });
}

}  // namespace MessageBus
