#include "alerts/sessions/AlertGlobalSession.h"

#include <vector>

#include "alerts/sessions/Enqueue.h"

namespace Vok {

AlertGlobalSession::AlertGlobalSession(std::shared_ptr<ViewerRegistrar> viewerRegistrar,
                                       std::shared_ptr<PluginRegistrar> pluginRegistrar,
                                       std::shared_ptr<AlertDispatcher> dispatcher)
    : viewerRegistrar_(std::move(viewerRegistrar)),
      pluginRegistrar_(std::move(pluginRegistrar)),
      dispatcher_(dispatcher
                      ? std::move(dispatcher)
                      : std::make_shared<AlertDispatcher>(viewerRegistrar_, pluginRegistrar_, nullptr)) {}

void AlertGlobalSession::queueAlert(std::shared_ptr<Alert> alert, bool& suppressed) {
    suppressed = !enqueue(std::move(alert), *dispatcher_, mutex_, queue_, u"AlertGlobalSession",
                          u"Vok::AlertGlobalSession::queueAlert");
    if (suppressed)
        return;
    std::vector<std::function<void()>> wakeUps;  // those registered now; later ones look at the queue first
    {
        MarkedLock lock(mutex_);
        for (const auto& [id, wakeUp] : wakeUps_)
            wakeUps.push_back(wakeUp);
    }
    for (const auto& wakeUp : wakeUps)
        wakeUp();
}

bool AlertGlobalSession::deleteAlert(const std::u16string& key) {
    std::shared_ptr<Alert> removed;  // let go of outside the lock
    MarkedLock lock(mutex_);
    removed = queue_.takeById(key);  // compat
    return removed != nullptr;
}

bool AlertGlobalSession::preferGlobal(const Alert& userFront) {
    std::shared_ptr<Alert> globalFront;
    MarkedLock lock(mutex_);
    globalFront = queue_.front();
    if (!globalFront)
        return false;
    const AlertInfo& global = globalFront->getInfo();
    const AlertInfo& user = userFront.getInfo();
    if (global.priority != user.priority)
        return global.priority > user.priority;  // compat
    return user.instanceId < global.instanceId;  // compat
}

std::shared_ptr<Alert> AlertGlobalSession::popAlert() {
    MarkedLock lock(mutex_);
    return queue_.pop();
}

bool AlertGlobalSession::isEmpty() {
    MarkedLock lock(mutex_);
    return queue_.size() == 0;
}

void AlertGlobalSession::registerSession(uint32_t sessionId, std::function<void()> wakeUp) {
    MarkedLock lock(mutex_);
    wakeUps_.try_emplace(sessionId, std::move(wakeUp));  // compat
}

void AlertGlobalSession::unregisterSession(uint32_t sessionId) {
    MarkedLock lock(mutex_);
    wakeUps_.erase(sessionId);
}

bool AlertGlobalSession::takeScreen(uint32_t sessionId) {
    MarkedLock lock(mutex_);
    return !screensClosed_ && takenScreens_.insert(sessionId).second;
}

void AlertGlobalSession::freeScreen(uint32_t sessionId) {
    std::function<void()> wakeUp;
    {
        MarkedLock lock(mutex_);
        takenScreens_.erase(sessionId);
        if (const auto registered = wakeUps_.find(sessionId); registered != wakeUps_.end())
            wakeUp = registered->second;
    }
    if (wakeUp)
        wakeUp();
}

void AlertGlobalSession::closeScreens() {
    MarkedLock lock(mutex_);
    screensClosed_ = true;
}

}  // namespace Vok
