// The broker module: the front door of the alert protocol.
#pragma once

#include <atomic>
#include <optional>
#include <unordered_map>
#include <vector>

#include "alerts/dispatcher/MarkedMutex.h"
#include "alerts/sessions/ActiveSession.h"
#include "bus/CallbackGate.h"
#include "module/AlertSessionFactory.h"
#include "module/BaseModule.h"
#include "module/DeferredCalls.h"

namespace Vok {

// Turns show requests into queued alerts, removes alerts on request, hands out instance ids, and answers each
// request with a status message. Handlers run on bus threads, several at once, and on the host's thread for
// direct messages. A request that makes no sense gives MODULE_STATUS_INVALID_PARAMETER and no status message;
// otherwise the handler's result is the status of publishing its answer.
class BrevantImpl : public Tavix::BaseModule {
public:
    // What is empty is made. Throws ModuleException when the bus library cannot be loaded.
    BrevantImpl(std::shared_ptr<ViewerRegistrar> viewerRegistrar,
                std::shared_ptr<PluginRegistrar> pluginRegistrar,
                std::shared_ptr<AlertSessionFactory> sessionFactory,
                SessionEnumerator enumerateSessions = Platform::enumerateUserSessions);
    // Shows nothing more and turns callbacks away that come from now on, waits for those that run, and ends
    // every session, which waits for the alerts on screen: as long as the slowest of them takes.
    ~BrevantImpl() override;

    // Subscribes to the four patterns. Always succeeds; what cannot be subscribed is logged.
    uint32_t initialize() override;
    uint32_t start() override;
    uint32_t stop() override;
    uint32_t uninitialize() override;

private:
    using Handler = uint32_t (BrevantImpl::*)(const Tavix::Message&);
    using Sessions = std::vector<std::shared_ptr<AlertUserSession>>;

    uint32_t showAlertHandler(const Tavix::Message& request);
    uint32_t deleteAlertHandler(const Tavix::Message& request);
    uint32_t getIdHandler(const Tavix::Message& request);
    uint32_t handleSessionLogoff(const Tavix::Message& message);

    void setupHandlers();
    void cleanupHandlers();
    Tavix::MessageCallback callback(Handler handler);
    // For handlers that take the sessions' locks.
    Tavix::MessageCallback lockingCallback(Handler handler);
    uint32_t answer(const Tavix::Message& request, std::u16string name, std::u16string sender = {},
                    std::u16string payload = {});

    // The last word of the name, when it begins with a number that has been handed out or is the next to be.
    bool parseInstanceId(const std::u16string& messageName, std::u16string& instanceId) const;
    void queueAlert(std::shared_ptr<Alert> alert, bool& suppressed) REQUIRES(sessionsMutex_);
    bool deleteAlert(const std::u16string& instanceId);
    // The session of that id, made when there is none.
    AlertUserSession& userSession(uint32_t sessionId) REQUIRES(sessionsMutex_);
    // Sees to it that the user at the console has a session, which can show global alerts.
    void startActiveSession() REQUIRES(sessionsMutex_);
    // Those left sessions that can be destroyed without waiting, to be so outside the lock.
    Sessions takeEndedSessions() REQUIRES(sessionsMutex_);

    const std::shared_ptr<ViewerRegistrar> viewerRegistrar_;
    const std::shared_ptr<PluginRegistrar> pluginRegistrar_;
    const std::shared_ptr<AlertSessionFactory> sessionFactory_;
    const SessionEnumerator enumerateSessions_;
    std::unordered_map<std::u16string, Tavix::MessageCallback> handlers_;  // the lifecycle thread's
    const std::shared_ptr<AlertGlobalSession> globalSession_;

    // Held while an alert is queued or deleted in the sessions, the plugin's and the viewer's answers
    // included. Before every other lock. A session is destroyed outside it.
    MarkedMutex sessionsMutex_;
    std::unordered_map<uint32_t, std::shared_ptr<AlertUserSession>> userSessions_ GUARDED_BY(sessionsMutex_);
    // After a logoff, until their alert has gone: who asks for something does not wait for it. Looked through
    // by the requests that could make them more.
    Sessions leftSessions_ GUARDED_BY(sessionsMutex_);
    std::atomic<uint32_t> nextInstanceId_{1};

    DeferredCalls deferred_;
    // Every callback given to the bus passes it.
    const std::shared_ptr<Tavix::CallbackGate> gate_;
};

}  // namespace Vok
