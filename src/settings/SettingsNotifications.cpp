#include "settings/SettingsNotifications.h"

#include <string_view>
#include <utility>

#include <brevant/settings.h>

#include "json/JSONFormatter.h"
#include "logging/Log.h"

namespace Tavix::SettingsNotifications {

namespace {

constexpr std::u16string_view logSource = u"SettingsManagerClient";  // compat

bool readNotification(const Message& message, std::u16string_view function, JSONFormatter& json,
                      std::u16string& name) {
    if (!json.parse(message.payload())) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to parse setting property data.");
        return false;
    }
    if (!json.view().getString(BREVANT_SETTINGS_NAME, name)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read setting property name.");
        return false;
    }
    return true;
}

uint32_t onPropertyNotify(const Message& message, const std::optional<std::u16string>& filter,
                          const SettingsManager::NameCallback& callback) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::onPropertyNotify";
    JSONFormatter json;
    std::u16string name;
    if (!readNotification(message, function, json, name))
        return MODULE_STATUS_DATA_ERROR;
    if (callback && (!filter || *filter == name))
        callback(name);
    return MODULE_STATUS_SUCCESS;
}

uint32_t onPropertyNotifySet(const Message& message, const SettingsManager::ValueCallback& callback) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::onPropertyNotifySet";
    JSONFormatter json;
    std::u16string name, value;
    if (!readNotification(message, function, json, name))
        return MODULE_STATUS_DATA_ERROR;
    if (!json.view().getString(BREVANT_SETTINGS_VALUE, value)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read setting value.");
        return MODULE_STATUS_DATA_ERROR;
    }
    if (callback)
        callback(name, value);
    return MODULE_STATUS_SUCCESS;
}

uint32_t onPropertyNotifyDelete(const Message& message, const SettingsManager::NameCallback& callback) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::onPropertyNotifyDelete";
    JSONFormatter json;
    std::u16string name;
    if (!readNotification(message, function, json, name))
        return MODULE_STATUS_DATA_ERROR;
    if (callback)
        callback(name);
    return MODULE_STATUS_SUCCESS;
}

}  // namespace

MessageCallback forBroadcast(std::optional<std::u16string> filter, SettingsManager::NameCallback callback) {
    return [filter = std::move(filter),
            callback = std::move(callback)](const std::shared_ptr<Message>& message) {
        return onPropertyNotify(*message, filter, callback);
    };
}

MessageCallback forSet(SettingsManager::ValueCallback callback) {
    return [callback = std::move(callback)](const std::shared_ptr<Message>& message) {
        return onPropertyNotifySet(*message, callback);
    };
}

MessageCallback forDelete(SettingsManager::NameCallback callback) {
    return [callback = std::move(callback)](const std::shared_ptr<Message>& message) {
        return onPropertyNotifyDelete(*message, callback);
    };
}

}  // namespace Tavix::SettingsNotifications
