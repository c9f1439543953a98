// Payloads of the settings manager's protocol (include/brevant/settings.h).
#pragma once

#include <string>
#include <vector>

#include "settings/SettingsManager.h"

namespace Tavix::SettingsProtocol {

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
