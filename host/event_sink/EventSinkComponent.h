#pragma once

#include "host/event_sink/ComponentConventions.h"

namespace EventSink {

// Makes a sink that holds one reference for the caller.
BrevantResult createSink(const BrevantGuid* interfaceId, void** object) noexcept;

// What keeps the library in use besides references to its factory: sinks that live and locks of the server.
void enterUse() noexcept;
void leaveUse() noexcept;
bool inUse() noexcept;

}  // namespace EventSink
