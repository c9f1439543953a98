#include "alerts/sessions/AlertUserSession.h"

#include <utility>

#include <brevant/alerts.h>

#include "alerts/sessions/Enqueue.h"
#include "logging/Log.h"

namespace Vok {

namespace {

constexpr std::u16string_view logSource = u"AlertUserSession";
constexpr std::u16string_view dispatchFunction = u"Vok::AlertUserSession::dispatchThread";

// Alerts that come while another session is active: so long they wait for the next look whether it still is.
constexpr std::chrono::milliseconds inactivePatience{20};

// After any of these another session may be the active one.
constexpr const char16_t* sessionTopics[] = {
    BREVANT_SESSION_CONSOLE_CONNECT,
    BREVANT_SESSION_REMOTE_CONNECT,
    BREVANT_SESSION_LOGON,
};

}  // namespace

AlertUserSession::AlertUserSession(uint32_t sessionId, std::shared_ptr<ViewerRegistrar> viewerRegistrar,
                                   std::shared_ptr<PluginRegistrar> pluginRegistrar,
                                   std::shared_ptr<AlertGlobalSession> globalSession,
                                   std::shared_ptr<AlertDispatcher> dispatcher,
                                   std::shared_ptr<Tavix::MessageBusClient> busClient,
                                   SessionEnumerator enumerateSessions)
    : sessionId_(sessionId),
      viewerRegistrar_(std::move(viewerRegistrar)),
      pluginRegistrar_(std::move(pluginRegistrar)),
      globalSession_(std::move(globalSession)),
      dispatcher_(dispatcher
                      ? std::move(dispatcher)
                      : std::make_shared<AlertDispatcher>(viewerRegistrar_, pluginRegistrar_, nullptr)),
      busClient_(busClient ? std::move(busClient) : std::make_shared<Tavix::MessageBusClient>()),
      enumerateSessions_(std::move(enumerateSessions)),
      wakeUp_(std::make_shared<WakeUp>()) {
    for (const char16_t* topic : sessionTopics) {
        busClient_->subscribe(topic, [wakeUp = wakeUp_](const std::shared_ptr<Tavix::Message>&) {
            wakeUp->wake();
            return MODULE_STATUS_SUCCESS;
        });
    }
    globalSession_->registerSession(sessionId_, [wakeUp = wakeUp_] { wakeUp->wakeSoon(); });
    registered_ = true;
    try {
        thread_ = Platform::Thread([this] {
            dispatchThread();
            queue_.clear();
            ended_ = true;
        });
    } catch (...) {
        stop();
        throw;
    }
}

AlertUserSession::~AlertUserSession() {
    try {
        for (const char16_t* topic : sessionTopics)
            busClient_->unsubscribe(topic);
    } catch (...) {
        // Without memory for the names it is left to the client's own end.
    }
    stop();
    thread_.join();
}

void AlertUserSession::stop() {
    if (std::exchange(registered_, false))
        globalSession_->unregisterSession(sessionId_);
    stopRequested_ = true;
    wakeUp_->wake();
}

void AlertUserSession::queueAlert(std::shared_ptr<Alert> alert, bool& suppressed) {
    suppressed = !enqueue(std::move(alert), *dispatcher_, mutex_, queue_, logSource,
                          u"Vok::AlertUserSession::queueAlert");
    if (!suppressed)
        wakeUp_->wakeSoon();
}

bool AlertUserSession::deleteAlert(const std::u16string& key) {
    constexpr std::u16string_view function = u"Vok::AlertUserSession::deleteAlert";
    std::shared_ptr<Alert> removed;  // let go of outside the lock
    {
        MarkedLock lock(mutex_);
        removed = queue_.takeById(key);  // compat
        if (removed) {
            LOG_FORMATTED(ETWLogging::levelInformation, function,
                          u"Alert instance %ls was in the queue. The alert has been removed.", key);
        }
    }
    if (removed)
        return true;
    if (!dispatcher_->dismissCurrentIf(key))
        return false;
    LOG_FORMATTED(ETWLogging::levelInformation, function,
                  u"Alert instance %ls was being shown. The alert has been dismissed.", key);
    return true;
}

bool AlertUserSession::isActiveSession() const {
    return findActiveSession(enumerateSessions_, logSource, u"Vok::AlertUserSession::isActiveSession") ==
           sessionId_;
}

void AlertUserSession::dispatchThread() {
    MarkedLock lock(mutex_);
    for (;;) {
        // Noted before the look at the queues and at the wish to stop: what comes later ends the sleep at
        // once.
        const uint64_t wakeUps = wakeUp_->count();
        if (stopRequested_)
            return;
        const bool work = queue_.size() != 0 || !globalSession_->isEmpty();
        const bool active = isActiveSession();
        // Listing the sessions takes its time: a wish to stop may have come meanwhile.
        if (!active || !work || stopRequested_ || !globalSession_->takeScreen(sessionId_)) {
            lock.unlock();
            wakeUp_->waitWhile(wakeUps, active ? std::chrono::milliseconds(0) : inactivePatience);
            lock.lock();
            continue;
        }
        std::shared_ptr<Alert> alert = takeNext();
        const bool shown = show(alert);
        lock.unlock();
        alert.reset();  // the one before
        if (shown)
            awaitOutcome();
        dispatcher_->releaseEnded();
        globalSession_->freeScreen(sessionId_);
        lock.lock();
    }
}

std::shared_ptr<Alert> AlertUserSession::takeNext() {
    const std::shared_ptr<Alert> front = queue_.front();
    return !front || globalSession_->preferGlobal(*front) ? globalSession_->popAlert() : queue_.pop();
}

bool AlertUserSession::show(std::shared_ptr<Alert>& alert) {
    if (dispatcher_->show(alert))
        return true;
    LOG_MESSAGE(ETWLogging::levelError, dispatchFunction, u"Failed to show alert.");
    return false;
}

void AlertUserSession::awaitOutcome() {
    if (dispatcher_->waitForCurrent())
        return;
    LOG_MESSAGE(ETWLogging::levelError, dispatchFunction, u"Failed to wait for alert.");
    dispatcher_->dismissCurrent();
}

}  // namespace Vok
