// What viewers and products ask of the settings manager, over the bus.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "host/program/connection/BusConnection.h"

namespace Host {

// Each waits for the settings manager's answer, up to 5 s; false unless it says that the thing is done.
bool setProperty(BusConnection& connection, const std::u16string& name, const std::u16string& value,
                 bool isVolatile);
bool setVolatileProperty(BusConnection& connection, const std::u16string& name, const std::u16string& value);
bool removeProperty(BusConnection& connection, const std::u16string& name);
bool hasProperty(BusConnection& connection, const std::u16string& name);

// Nothing when there is none, or no answer.
std::optional<std::u16string> getProperty(BusConnection& connection, const std::u16string& name);
// Names and values under a prefix; nothing when there is no answer.
using PropertyList = std::vector<std::pair<std::u16string, std::u16string>>;
std::optional<PropertyList> listProperties(BusConnection& connection, const std::u16string& prefix);

}  // namespace Host
