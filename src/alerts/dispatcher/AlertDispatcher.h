// Runs an alert through its product's plugin, chooses its viewer and shows it.
#pragma once

#include <memory>
#include <string>

#include "alerts/dispatcher/MarkedMutex.h"

namespace Tavix {
class MessageBusClient;
}

namespace Vok {

class Alert;
class PluginRegistrar;
class ViewerRegistrar;

// The one holder of the alert that is shown. process may run on any thread, also while another alert is
// shown; show, waitForCurrent and releaseEnded belong to the session's dispatch thread; both dismissals may
// come from any thread and end a wait.
//
// An alert that has been shown ends with the end of its bus handle, which may wait for callbacks: the
// dispatch thread lets go of it, outside its locks, and no dismissal does.
class AlertDispatcher {
public:
    // An empty bus client is replaced by one of its own, whose constructor throws ModuleException.
    AlertDispatcher(std::shared_ptr<ViewerRegistrar> viewerRegistrar,
                    std::shared_ptr<PluginRegistrar> pluginRegistrar,
                    std::shared_ptr<Tavix::MessageBusClient> busClient = nullptr);
    // Dismisses the alert that is being shown.
    virtual ~AlertDispatcher();
    AlertDispatcher(const AlertDispatcher&) = delete;
    AlertDispatcher& operator=(const AlertDispatcher&) = delete;

    // True when a viewer was assigned: the alert is to be queued. False when the plugin suppressed it, when
    // what the plugin made of it cannot be read, or when none of its viewers is registered. A plugin that
    // fails leaves the alert as it came.
    bool process(const std::shared_ptr<Alert>& alert);

    // Dismisses the alert being shown and makes this one the current one. True when its viewer shows it.
    // False without a current alert when the viewer refused, with the given one still current when its plugin
    // supplied no content. The caller gets in exchange what was held before, if anything. A null alert
    // changes nothing: false.
    bool show(std::shared_ptr<Alert>& alert);

    // Whether the current alert's outcome arrived within its display time and 30 s more; false without one.
    bool waitForCurrent();

    // Lets go of an alert that is not current any more.
    void releaseEnded();

    // Whether the current alert could be dismissed; it is not current afterwards. False without one.
    bool dismissCurrent();
    // The same, when the current alert is that showing.
    bool dismissCurrentIf(const std::u16string& instanceId);

private:
    bool dismissLocked() REQUIRES(mutex_);

    const std::shared_ptr<ViewerRegistrar> viewerRegistrar_;
    const std::shared_ptr<PluginRegistrar> pluginRegistrar_;
    const std::shared_ptr<Tavix::MessageBusClient> busClient_;

    // Held while content is fetched and while the viewer is asked to show or dismiss, never while an outcome
    // is waited for by waitForCurrent.
    MarkedMutex mutex_;
    std::shared_ptr<Alert> alert_ GUARDED_BY(mutex_);
    bool isCurrent_ GUARDED_BY(mutex_) = false;  // never without an alert
};

}  // namespace Vok
