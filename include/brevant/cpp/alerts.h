// The names of alerts.h put together, for authors in C++.
#pragma once

#include <string>
#include <string_view>

#include <brevant/alerts.h>

namespace Brevant {

namespace Detail {

inline std::u16string joined(std::u16string_view a, std::u16string_view b, std::u16string_view c,
                             std::u16string_view d) {
    std::u16string name;
    name.reserve(a.size() + b.size() + c.size() + d.size());
    return name.append(a).append(b).append(c).append(d);
}

}  // namespace Detail

// alertMessage(u"a", BREVANT_ALERT_QUEUED, u"1") is "Brevant.Alert.a.Queued.1".
inline std::u16string alertMessage(std::u16string_view alertId, std::u16string_view word,
                                   std::u16string_view instanceId) {
    return Detail::joined(BREVANT_ALERT_PREFIX, alertId, word, instanceId);
}

// viewerMessage(u"v", BREVANT_VIEWER_SHOW, u"1") is "Brevant.Viewer.v.Show.1".
inline std::u16string viewerMessage(std::u16string_view viewerId, std::u16string_view word,
                                    std::u16string_view instanceId = {}) {
    return Detail::joined(BREVANT_VIEWER_PREFIX, viewerId, word, instanceId);
}

// property(BREVANT_VIEWER_KEY, u"v") is "Brevant/Viewer/v".
inline std::u16string property(std::u16string_view key, std::u16string_view id) {
    return Detail::joined(key, u"/", id, {});
}

// What follows the last dot of a name: the instance id, where it has one.
inline std::u16string instanceOf(std::u16string_view messageName) {
    return std::u16string(messageName.substr(messageName.rfind(u'.') + 1));
}

}  // namespace Brevant
