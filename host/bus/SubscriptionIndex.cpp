#include "host/bus/SubscriptionIndex.h"

#include <algorithm>

namespace EmbeddedBus {

void SubscriptionIndex::add(const std::shared_ptr<Subscription>& subscription) {
    if (!subscription->pattern) {
        addTo(names_, subscription->text, subscription);
        return;
    }
    const Ferrow::PatternHead head = Ferrow::patternHead(subscription->text);
    auto shape = findShape(head);
    if (shape == shapes_.end())
        shape = shapes_.insert(shape, Shape{head, {}});
    addTo(shape->buckets, head.units, subscription);
}

void SubscriptionIndex::remove(const Subscription& subscription) {
    if (!subscription.pattern) {
        removeFrom(names_, subscription.text, subscription);
        return;
    }
    const Ferrow::PatternHead head = Ferrow::patternHead(subscription.text);
    const auto shape = findShape(head);
    removeFrom(shape->buckets, head.units, subscription);
    if (shape->buckets.empty())
        shapes_.erase(shape);
}

void SubscriptionIndex::collect(std::u16string_view name, Subscriptions& matches,
                                Subscriptions& candidates) const {
    if (const auto bucket = names_.find(name); bucket != names_.end())
        matches.insert(matches.end(), bucket->second.begin(), bucket->second.end());
    std::u16string head;
    for (const Shape& shape : shapes_) {
        if (!shape.sample.cut(name, head))
            continue;
        if (const auto bucket = shape.buckets.find(head); bucket != shape.buckets.end())
            candidates.insert(candidates.end(), bucket->second.begin(), bucket->second.end());
    }
}

void SubscriptionIndex::addTo(Buckets& buckets, std::u16string_view key,
                              const std::shared_ptr<Subscription>& added) {
    Subscriptions& bucket = buckets[std::u16string(key)];
    added->bucketPosition = bucket.size();
    bucket.push_back(added);
}

void SubscriptionIndex::removeFrom(Buckets& buckets, std::u16string_view key, const Subscription& removed) {
    const auto found = buckets.find(key);
    Subscriptions& bucket = found->second;
    bucket.back()->bucketPosition = removed.bucketPosition;
    std::swap(bucket[removed.bucketPosition], bucket.back());
    bucket.pop_back();
    if (bucket.empty())
        buckets.erase(found);
}

std::list<SubscriptionIndex::Shape>::iterator SubscriptionIndex::findShape(const Ferrow::PatternHead& head) {
    return std::find_if(shapes_.begin(), shapes_.end(), [&](const Shape& shape) {
        return shape.sample.units.size() == head.units.size() && shape.sample.wildcards == head.wildcards;
    });
}

}  // namespace EmbeddedBus
