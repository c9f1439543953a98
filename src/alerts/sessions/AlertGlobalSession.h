// The queue of alerts that name no user session, and what the user sessions share.
#pragma once

#include <functional>
#include <unordered_map>
#include <unordered_set>

#include "alerts/dispatcher/AlertDispatcher.h"
#include "alerts/dispatcher/MarkedMutex.h"
#include "alerts/plugins/PluginRegistrar.h"
#include "alerts/sessions/AlertQueue.h"
#include "alerts/sessions/AlertSession.h"
#include "alerts/viewers/ViewerRegistrar.h"

namespace Vok {

// Shows nothing itself: the dispatch threads of the user sessions take its alerts. All operations run on any
// thread.
class AlertGlobalSession : public AlertSession {
public:
    // An empty dispatcher is replaced by one over the two registrars.
    AlertGlobalSession(std::shared_ptr<ViewerRegistrar> viewerRegistrar,
                       std::shared_ptr<PluginRegistrar> pluginRegistrar,
                       std::shared_ptr<AlertDispatcher> dispatcher = nullptr);

    // Wakes every registered session when the alert was queued.
    void queueAlert(std::shared_ptr<Alert> alert, bool& suppressed) override;
    // Removes the first queued alert whose id (not instance id) is the key.
    bool deleteAlert(const std::u16string& key) override;
    // Whether the first global alert is to be shown before a user session's first one. Between the two queues
    // the greater priority value wins, the other way round than within a queue, and a tie goes to the greater
    // instance id.
    virtual bool preferGlobal(const Alert& userFront);
    // Takes the first alert out; empty when another session was faster.
    virtual std::shared_ptr<Alert> popAlert();
    virtual bool isEmpty();

    // The callback runs on the thread that queues an alert, without a lock, and possibly once more after
    // unregisterSession: it must own what it uses. The first callback of an id stays until it is
    // unregistered.
    void registerSession(uint32_t sessionId, std::function<void()> wakeUp);
    void unregisterSession(uint32_t sessionId);

    // For a dispatch thread, around each alert that it shows: of the sessions of one id, one at a time has
    // its screen. One that has been left may still have an alert there when its successor wants to show the
    // next. False while the screen is taken, and always once screens are closed.
    bool takeScreen(uint32_t sessionId);
    // Wakes the session that is registered under the id.
    void freeScreen(uint32_t sessionId);
    // For who ends every session, before the first wait: nothing that is queued comes on screen meanwhile.
    void closeScreens();

private:
    const std::shared_ptr<ViewerRegistrar> viewerRegistrar_;
    const std::shared_ptr<PluginRegistrar> pluginRegistrar_;
    const std::shared_ptr<AlertDispatcher> dispatcher_;

    // Guards each operation as a whole; taken after a user session's mutex, never before. Only the queue's
    // own mutex is taken under it, and the refusal of a duplicate reported.
    MarkedMutex mutex_;
    AlertQueue queue_;
    std::unordered_map<uint32_t, std::function<void()>> wakeUps_ GUARDED_BY(mutex_);
    std::unordered_set<uint32_t> takenScreens_ GUARDED_BY(mutex_);
    bool screensClosed_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vok
