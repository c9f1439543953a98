// What the two kinds of session have in common.
#pragma once

#include <memory>
#include <string>

#include "alerts/alert/Alert.h"

namespace Vok {

// Takes alerts until they are shown. Both operations run on any thread and may take long: a product's plugin
// and a viewer are asked meanwhile.
class AlertSession {
public:
    virtual ~AlertSession() = default;
    // Asks the product's plugin and keeps the alert for its turn. suppressed tells whether it was dropped
    // instead: by the plugin, for want of a viewer, or as a duplicate of a queued alert.
    virtual void queueAlert(std::shared_ptr<Alert> alert, bool& suppressed) = 0;
    // The key comes from a delete request, which names an instance. True when an alert was removed.
    virtual bool deleteAlert(const std::u16string& key) = 0;
};

}  // namespace Vok
