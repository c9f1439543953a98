// Maps the contexts that a bus library holds to what stands behind them.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>

#include "bus/MessageBusShim.h"
#include "platform/Sync.h"

namespace Tavix {

// A new context, never null and never handed out before in this process.
BusContext newBusContext() noexcept;

// Any thread; every operation takes constant time. What find() returns lives for as long as the caller holds
// it, also when the context is removed meanwhile. Made for namespace scope: an empty table owns no memory and
// has no destructor, so that a callback may look into it until the process has ended.
template <class T>
class ContextTable {
public:
    BusContext add(std::shared_ptr<T> target) {
        const BusContext context = newBusContext();
        Shard& shard = shardOf(context);
        Platform::MutexLock lock(shard.mutex);
        auto targets = shard.targets ? nullptr : std::make_unique<Targets>();
        (targets ? *targets : *shard.targets).emplace(context, std::move(target));
        if (targets)
            shard.targets = targets.release();
        return context;
    }

    void remove(BusContext context) {
        // Let go of outside the lock: a target's end may run code of others.
        typename Targets::node_type target;
        std::unique_ptr<Targets> unneeded;
        Shard& shard = shardOf(context);
        Platform::MutexLock lock(shard.mutex);
        if (!shard.targets)
            return;
        target = shard.targets->extract(context);
        if (shard.targets->empty())
            unneeded.reset(std::exchange(shard.targets, nullptr));
    }

    // Empty when the context is not, or no longer, in the table.
    std::shared_ptr<T> find(BusContext context) {
        Shard& shard = shardOf(context);
        Platform::MutexLock lock(shard.mutex);
        if (!shard.targets)
            return nullptr;
        const auto found = shard.targets->find(context);
        return found == shard.targets->end() ? nullptr : found->second;
    }

private:
    using Targets = std::unordered_map<BusContext, std::shared_ptr<T>>;
    struct Shard {
        Platform::Mutex mutex;                         // leaf: guards the map alone
        Targets* targets GUARDED_BY(mutex) = nullptr;  // never an empty one
    };

    Shard& shardOf(BusContext context) {
        return shards_[reinterpret_cast<uintptr_t>(context) % shards_.size()];
    }

    std::array<Shard, 16> shards_;
};

// A place in a table, given back at the end.
template <class T>
class ContextEntry {
public:
    ContextEntry(ContextTable<T>& table, std::shared_ptr<T> target)
        : table_(&table), context_(table.add(std::move(target))) {}
    ContextEntry(ContextEntry&& other) noexcept
        : table_(other.table_), context_(std::exchange(other.context_, nullptr)) {}
    ContextEntry& operator=(ContextEntry&& other) noexcept {
        std::swap(table_, other.table_);
        std::swap(context_, other.context_);
        return *this;
    }
    ~ContextEntry() { remove(); }

    BusContext context() const noexcept { return context_; }
    void remove() {
        if (context_)
            table_->remove(std::exchange(context_, nullptr));
    }

private:
    ContextTable<T>* table_;
    BusContext context_;
};

}  // namespace Tavix
