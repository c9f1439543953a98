// Finds the subscriptions to a name without looking at unrelated ones.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/bus/Subscription.h"
#include "text/PatternHead.h"

namespace EmbeddedBus {

using Subscriptions = std::vector<std::shared_ptr<Subscription>>;

// Used under the bus's lock.
class SubscriptionIndex {
public:
    void add(const std::shared_ptr<Subscription>& subscription);
    void remove(const Subscription& subscription);
    // Appends the plain subscriptions to the name, and the patterns whose heads fit it: those may match.
    void collect(std::u16string_view name, Subscriptions& matches, Subscriptions& candidates) const;

private:
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::u16string_view text) const noexcept {
            return std::hash<std::u16string_view>()(text);
        }
    };
    using Buckets = std::unordered_map<std::u16string, Subscriptions, Hash, std::equal_to<>>;
    // Patterns whose heads are of one length and leave the same positions open.
    struct Shape {
        Ferrow::PatternHead sample;
        Buckets buckets;
    };

    static void addTo(Buckets& buckets, std::u16string_view key, const std::shared_ptr<Subscription>& added);
    static void removeFrom(Buckets& buckets, std::u16string_view key, const Subscription& removed);
    std::list<Shape>::iterator findShape(const Ferrow::PatternHead& head);

    Buckets names_;
    std::list<Shape> shapes_;
};

}  // namespace EmbeddedBus
