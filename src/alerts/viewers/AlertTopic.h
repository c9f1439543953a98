// Names of the messages that tell how an alert fares.
#pragma once

#include <string>
#include <string_view>

namespace Vok {

// "Brevant.Alert.<alert id>.<status>.<instance id>".
inline std::u16string alertTopic(std::u16string_view alertId, std::u16string_view status,
                                 std::u16string_view instanceId) {
    constexpr std::u16string_view prefix = u"Brevant.Alert.";
    std::u16string topic;
    topic.reserve(prefix.size() + alertId.size() + status.size() + instanceId.size() + 2);
    topic.append(prefix).append(alertId).append(u".").append(status).append(u".").append(instanceId);
    return topic;
}

}  // namespace Vok
