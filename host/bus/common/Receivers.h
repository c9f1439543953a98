// Who a message goes to.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace MessageBus {

struct Subscription;

// A few subscriptions; never changed once they are shared. Lists of any length are made of such pieces, so
// that neither a change nor a copy of a list touches every subscription of it.
using ReceiverGroup = std::vector<std::shared_ptr<Subscription>>;
constexpr size_t receiverGroupSize = 64;
using ReceiverGroups = std::vector<std::shared_ptr<const ReceiverGroup>>;

class Receivers {
public:
    void add(const ReceiverGroups& groups) {
        groups_.insert(groups_.end(), groups.begin(), groups.end());
        for (const auto& group : groups)
            count_ += group->size();
    }
    size_t count() const noexcept { return count_; }

    // A place in the list, from the first to behind the last.
    class Position {
    public:
        Position(const Receivers& list, size_t number) noexcept : list_(list) {
            while (group_ < list.groups_.size() && number >= list.groups_[group_]->size())
                number -= list.groups_[group_++]->size();
            inGroup_ = number;
        }
        bool atEnd() const noexcept { return group_ == list_.groups_.size(); }
        const std::shared_ptr<Subscription>& operator*() const noexcept {
            return (*list_.groups_[group_])[inGroup_];
        }
        void next() noexcept {
            if (++inGroup_ == list_.groups_[group_]->size()) {
                ++group_;
                inGroup_ = 0;
            }
        }

    private:
        const Receivers& list_;
        size_t group_ = 0;
        size_t inGroup_ = 0;
    };

private:
    ReceiverGroups groups_;  // none is empty
    size_t count_ = 0;
};

}  // namespace MessageBus
