// What the settings manager's messages look like.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/SettingsManager.h"

namespace Tavix::SettingsProtocol {

constexpr char16_t senderName[] = u"SettingsManagerClient";

constexpr char16_t getPropertyRequest[] = u"SETTINGS_MANAGER_GET_PROPERTY";
constexpr char16_t setPropertyRequest[] = u"SETTINGS_MANAGER_SET_PROPERTY";
constexpr char16_t removePropertyRequest[] = u"SETTINGS_MANAGER_REMOVE_PROPERTY";
constexpr char16_t getPropertiesRequest[] = u"SettingsManager.GetProperties.Request";
constexpr char16_t setPropertiesRequest[] = u"SettingsManager.SetProperties.Request";
constexpr char16_t removePropertiesRequest[] = u"SettingsManager.RemoveProperties.Request";
// Broadcast.
constexpr char16_t propertySet[] = u"SETTINGS_MANAGER_PROPERTY_SET";
constexpr char16_t propertyRemoved[] = u"SETTINGS_MANAGER_PROPERTY_REMOVED";
// Followed by the property's name.
constexpr char16_t notifySetPrefix[] = u"SettingsManager.Notify.Set.";
constexpr char16_t notifyDeletePrefix[] = u"SettingsManager.Notify.Delete.";

constexpr std::u16string_view nameKey = u"name";
constexpr std::u16string_view valueKey = u"value";
constexpr std::u16string_view volatileKey = u"volatile";
constexpr std::u16string_view isPrefixKey = u"isPrefix";
constexpr std::u16string_view propertiesKey = u"properties";
constexpr std::u16string_view responsesKey = u"responses";
constexpr std::u16string_view statusKey = u"status";

// {"name":N}
std::u16string nameRequest(const std::u16string& name);
// {"name":N,"value":V,"volatile":B}
std::u16string setRequest(const std::u16string& name, const std::u16string& value, bool isVolatile);
// {"properties":[...]} with one item for each element, duplicates included: {"name":N},
// {"name":P,"isPrefix":true} or that of setRequest.
std::u16string namesRequest(const std::vector<std::u16string>& names, bool arePrefixes);
std::u16string setListRequest(const SettingsManager::PropertyList& properties, bool isVolatile);

// The pattern of the notifications about a name, which is not escaped.
std::u16string notifyPattern(const char16_t* prefix, const std::u16string& name);

}  // namespace Tavix::SettingsProtocol
