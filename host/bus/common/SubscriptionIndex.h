// Finds the subscriptions to a name without looking at unrelated ones.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/bus/common/Receivers.h"
#include "host/bus/common/Subscription.h"
#include "text/PatternHead.h"

namespace MessageBus {

// Used under the bus's lock.
class SubscriptionIndex {
public:
    // The subscriptions with one pattern, which may match.
    struct Candidate {
        std::shared_ptr<const Ferrow::NamePattern> pattern;
        ReceiverGroups receivers;
    };

    void add(const std::shared_ptr<Subscription>& subscription);
    void remove(const Subscription& subscription);
    // Adds the plain subscriptions to the name, and appends the patterns whose heads fit it.
    void collect(std::u16string_view name, Receivers& receivers, std::vector<Candidate>& candidates) const;

private:
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::u16string_view text) const noexcept {
            return std::hash<std::u16string_view>()(text);
        }
    };
    template <class Value>
    using ByText = std::unordered_map<std::u16string, Value, Hash, std::equal_to<>>;

    // Subscriptions with one text.
    class Bucket {
    public:
        void add(const std::shared_ptr<Subscription>& added);
        void remove(const Subscription& removed);
        bool empty() const noexcept { return groups_.empty(); }
        const ReceiverGroups& groups() const noexcept { return groups_; }

    private:
        // All but the last are full.
        ReceiverGroups groups_;
    };
    using PatternsOfOneHead = ByText<Bucket>;
    // Patterns whose heads are of one length and leave the same positions open.
    struct Shape {
        Ferrow::PatternHead sample;
        ByText<PatternsOfOneHead> heads;
    };

    static void addTo(ByText<Bucket>& buckets, const std::shared_ptr<Subscription>& added);
    static void removeFrom(ByText<Bucket>& buckets, const Subscription& removed);
    std::list<Shape>::iterator findShape(const Ferrow::PatternHead& head);

    ByText<Bucket> names_;
    std::list<Shape> shapes_;
};

}  // namespace MessageBus
