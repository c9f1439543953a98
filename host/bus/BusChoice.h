// Which transport carries the messages of this process.
#pragma once

#include <memory>

#include "host/bus/common/Bus.h"

namespace MessageBus {

// See ServerChoice.h. Of a value that cannot be understood the debugger output tells, and every acquireHandle
// gives MODULE_STATUS_INVALID_PARAMETER: what was meant to be shared must not become a bus of its own.
std::unique_ptr<Bus> chooseBus();

}  // namespace MessageBus
