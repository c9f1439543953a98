// Finds values by hash at a cost that never depends on how many there are.
#pragma once

#include <bit>
#include <cstddef>
#include <deque>
#include <forward_list>
#include <iterator>
#include <utility>

namespace Vok {

// The standard tables rehash as a whole now and then, which stops whoever inserts for 20 ms at 100,000
// values. This one makes room a bucket at a time, by linear hashing: each bucket in turn gives about half of
// what it holds to a new one. Room is kept until the end. Not synchronised.
template <class Value>
class HashIndex {
public:
    // All or nothing, should there be no memory. Values of one hash may be many; they cost each other.
    void insert(size_t hash, Value value) {
        while (buckets_.size() <= 2 * count_)  // most buckets hold one value or none
            split();
        bucketOf(hash).push_front({hash, std::move(value)});
        ++count_;
    }
    // One of that hash that the predicate wants; null when there is none.
    template <class Predicate>
    Value* find(size_t hash, const Predicate& wanted) {
        for (Item& item : bucketOf(hash))
            if (item.hash == hash && wanted(item.value))
                return &item.value;
        return nullptr;
    }
    // Erases what find would return, if anything.
    template <class Predicate>
    void erase(size_t hash, const Predicate& wanted) {
        Bucket& bucket = bucketOf(hash);
        for (auto before = bucket.before_begin(); std::next(before) != bucket.end(); ++before) {
            const Item& item = *std::next(before);
            if (item.hash == hash && wanted(item.value)) {
                bucket.erase_after(before);
                --count_;
                return;
            }
        }
    }

private:
    struct Item {
        size_t hash;
        Value value;
    };
    using Bucket = std::forward_list<Item>;

    // The bucket from which this one was split.
    static size_t parentOf(size_t bucket) { return bucket - std::bit_floor(bucket); }
    // The low bits, as many as the last bucket's number has; one less when that bucket is still to come.
    size_t placeOf(size_t hash) const {
        const size_t place = hash & (std::bit_ceil(buckets_.size()) - 1);
        return place < buckets_.size() ? place : parentOf(place);
    }
    Bucket& bucketOf(size_t hash) { return buckets_[placeOf(hash)]; }

    void split() {
        const size_t added = buckets_.size();
        Bucket& to = buckets_.emplace_back();
        Bucket& from = buckets_[parentOf(added)];
        for (auto before = from.before_begin(); std::next(before) != from.end();) {
            if (placeOf(std::next(before)->hash) == added)
                to.splice_after(to.before_begin(), from, before);
            else
                ++before;
        }
    }

    std::deque<Bucket> buckets_ = std::deque<Bucket>(1);
    size_t count_ = 0;
};

}  // namespace Vok
