// Which transport carries the messages of this process.
#pragma once

#include <memory>

#include "host/bus/common/Bus.h"

namespace MessageBus {

// What the environment's BREVANT_BUS says, else the text "Bus" under SOFTWARE\CORVANE\OSTREL, else the
// connection file that a running host has left (ConnectionFile.h), else the embedded bus. The value is
// "embedded" or "nats://[user:password@]HOST:PORT", HOST being a loopback address; where it names no user,
// and the connection file the same server, the credentials of the role serve that BREVANT_BUS_ROLE names
// ("product" when it does not). Of a value that is neither the debugger output tells, and every acquireHandle
// gives MODULE_STATUS_INVALID_PARAMETER: what was meant to be shared must not become a bus of its own.
std::unique_ptr<Bus> chooseBus();

}  // namespace MessageBus
