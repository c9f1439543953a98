// The alerts of one interactive user session, shown one at a time.
#pragma once

#include <atomic>

#include "alerts/sessions/ActiveSession.h"
#include "alerts/sessions/AlertGlobalSession.h"
#include "alerts/sessions/WakeUp.h"
#include "bus/MessageBusClient.h"
#include "platform/Thread.h"

namespace Vok {

// Owns a thread that takes the next alert, its own or a global one, hands it to the dispatcher and waits for
// the outcome. It does so only while its session is the first active one of the machine, and otherwise sleeps
// until an alert is queued or the host tells of a change among the sessions.
class AlertUserSession : public AlertSession {
public:
    // An empty dispatcher is replaced by one over the two registrars, an empty bus client by a default one.
    // The dispatch thread runs when this returns.
    AlertUserSession(uint32_t sessionId, std::shared_ptr<ViewerRegistrar> viewerRegistrar,
                     std::shared_ptr<PluginRegistrar> pluginRegistrar,
                     std::shared_ptr<AlertGlobalSession> globalSession,
                     std::shared_ptr<AlertDispatcher> dispatcher = nullptr,
                     std::shared_ptr<Tavix::MessageBusClient> busClient = nullptr,
                     SessionEnumerator enumerateSessions = Platform::enumerateUserSessions);
    // Joins the dispatch thread, and so waits for an alert on screen to end its wait; alerts that are queued
    // are dropped in silence. Must not run on the dispatch thread.
    ~AlertUserSession() override;

    // Waits while the dispatch thread asks a viewer to show an alert.
    void queueAlert(std::shared_ptr<Alert> alert, bool& suppressed) override;
    // Removes the first queued alert whose id is the key or, when there is none, dismisses the alert on
    // screen if its instance id is.
    bool deleteAlert(const std::u16string& key) override;
    bool isActiveSession() const;

    // For an owner that gives the session up: from now on a successor may register under the same id. Called
    // by one thread at a time.
    void leaveGlobalSession();

private:
    void dispatchThread();
    std::shared_ptr<Alert> takeNext() REQUIRES(mutex_);
    bool show(std::shared_ptr<Alert>& alert) REQUIRES(mutex_);
    void awaitOutcome();

    const uint32_t sessionId_;
    const std::shared_ptr<ViewerRegistrar> viewerRegistrar_;
    const std::shared_ptr<PluginRegistrar> pluginRegistrar_;
    const std::shared_ptr<AlertGlobalSession> globalSession_;
    const std::shared_ptr<AlertDispatcher> dispatcher_;
    const std::shared_ptr<Tavix::MessageBusClient> busClient_;
    const SessionEnumerator enumerateSessions_;
    const std::shared_ptr<WakeUp> wakeUp_;

    // Held by the dispatch thread but for its sleep and its wait for an outcome, and by queueAlert and
    // deleteAlert around the queue. Before the global session's mutex and the queue's, never after.
    MarkedMutex mutex_;
    AlertQueue queue_;
    std::atomic<bool> stopRequested_{false};
    bool registered_ = false;  // the owner's alone
    Platform::Thread thread_;  // last: it uses everything above
};

}  // namespace Vok
