// Bus callbacks for the settings manager's notifications.
#pragma once

#include <optional>
#include <string>

#include "bus/MessageBus.h"
#include "settings/SettingsManager.h"

namespace Tavix::SettingsNotifications {

// They hold the user's callback and nothing of the client, which may be gone when they run. A payload that
// cannot be read is logged and answered with MODULE_STATUS_DATA_ERROR.

// Broadcasts; without a filter every name is accepted.
MessageCallback forBroadcast(std::optional<std::u16string> filter, SettingsManager::NameCallback callback);
// Notifications per name.
MessageCallback forSet(SettingsManager::ValueCallback callback);
MessageCallback forDelete(SettingsManager::NameCallback callback);

}  // namespace Tavix::SettingsNotifications
