// What viewers and products ask of the settings manager, over the bus.
#pragma once

#include "host/program/connection/BusConnection.h"

namespace Host {

// Each waits for the settings manager's answer, up to 5 s; false unless it says that the thing is done.
bool setVolatileProperty(BusConnection& connection, const std::u16string& name, const std::u16string& value);
bool removeProperty(BusConnection& connection, const std::u16string& name);
bool hasProperty(BusConnection& connection, const std::u16string& name);

}  // namespace Host
