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
// the outcome. It does so only while its session is the first active one of the machine and its screen is
// free, and otherwise sleeps until an alert is queued, the screen is freed or the host tells of a change
// among the sessions. While another session is active, alerts that come are looked at together, some
// milliseconds later.
//
//               | shows alerts | stopping: its last alert is on screen | ended
//   stop        | stopping     | nothing                               | nothing
//   hasEnded    | false        | false                                 | true
//   destruction | stops, waits | waits                                 | does not wait
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
    // Stops, and waits for an alert on screen to end its wait. Must not run on the dispatch thread.
    ~AlertUserSession() override;

    // Waits while the dispatch thread asks a viewer to show an alert.
    void queueAlert(std::shared_ptr<Alert> alert, bool& suppressed) override;
    // Removes the first queued alert whose id is the key or, when there is none, dismisses the alert on
    // screen if its instance id is.
    bool deleteAlert(const std::u16string& key) override;
    bool isActiveSession() const;

    // For an owner that gives the session up and does not want to wait: no further alert is shown, those that
    // are queued are dropped in silence, and a successor may be made under the same id. One thread at a time.
    void stop();
    // Whether the dispatch thread is through with the last alert, so that destruction does not wait.
    bool hasEnded() const noexcept { return ended_; }

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
    std::atomic<bool> ended_{false};
    bool registered_ = false;  // the owner's alone
    Platform::Thread thread_;  // last: it uses everything above
};

}  // namespace Vok
