// Handles as numbers: a stale one finds nothing, whatever has been acquired since.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace MessageBus {

// Every operation takes constant time. Ids are never 0.
template <class Entry>
class HandleTable {
public:
    // The entry gets its id through the maker.
    template <class Maker>
    uint64_t add(Maker&& make) {
        if (free_.empty()) {
            // Room for every slot: giving one back must not fail.
            if (free_.capacity() == slots_.size())
                free_.reserve(std::max<size_t>(16, 2 * slots_.size()));
            slots_.emplace_back();
            free_.push_back(static_cast<uint32_t>(slots_.size() - 1));
        }
        Slot& slot = slots_[free_.back()];
        const uint64_t id = uint64_t{slot.generation} << 32 | (uint64_t{free_.back()} + 1);
        slot.entry = make(id);
        free_.pop_back();
        return id;
    }
    // Null for an id that is not, or no longer, in use.
    std::shared_ptr<Entry> find(uint64_t id) const noexcept {
        const uint64_t index = (id & 0xFFFFFFFFu) - 1;
        if (index >= slots_.size() || slots_[index].generation != id >> 32)
            return nullptr;
        return slots_[index].entry;
    }
    std::shared_ptr<Entry> take(uint64_t id) noexcept {
        if (!find(id))
            return nullptr;
        const auto index = static_cast<uint32_t>(id - 1);
        Slot& slot = slots_[index];
        ++slot.generation;
        free_.push_back(index);
        return std::move(slot.entry);
    }
    bool empty() const noexcept { return free_.size() == slots_.size(); }

private:
    struct Slot {
        std::shared_ptr<Entry> entry;
        uint32_t generation = 0;
    };
    std::vector<Slot> slots_;
    std::vector<uint32_t> free_;
};

}  // namespace MessageBus
