// What the bus bounds, so that no user of it can exhaust the process. What is not named here (handles,
// subscriptions) lives only as long as its owner keeps it, one explicit call each.
#pragma once

#include <chrono>
#include <cstddef>

namespace MessageBus {

// Memory of the messages that one handle has published and that are still queued or being delivered, and of
// all of them together. Whoever publishes beyond it gets MODULE_STATUS_NO_MEMORY.
constexpr size_t handleMessageBytes = size_t{64} << 20;
constexpr size_t busMessageBytes = size_t{512} << 20;

// Requests of one handle that are not answered yet; MODULE_STATUS_NO_MEMORY beyond it.
constexpr size_t handleOpenRequests = 65536;

// Callbacks of one subscription that run at once, for as many publishers. Below the number of threads, so
// that a subscription whose callbacks all block leaves threads to the others.
constexpr size_t subscriptionCallbacks = 64;

// Threads of a pool.
struct PoolLimits {
    size_t base = 8;            // started as soon as there is work for them, kept till the end
    size_t messageTasks = 256;  // messages that are delivered at once
    size_t replyReserve = 16;   // further threads, for replies alone: messages cannot keep answers away
    std::chrono::nanoseconds stallTime = std::chrono::milliseconds(1);  // between two looks at what waits
    std::chrono::nanoseconds shrinkTime = std::chrono::seconds(10);     // threads idle for so long are ended
};

}  // namespace MessageBus
