#pragma once

#include <brevant/bus.h>

namespace MessageBus {

// The table over the one bus of this library.
const BrevantBusFunctions& busFunctions() noexcept;

// Joins threads of the bus that could not be waited for when they ended it; see Bus::reap.
void reapBusThreads(bool wait) noexcept;

}  // namespace MessageBus
