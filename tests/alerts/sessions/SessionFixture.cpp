#include "alerts/sessions/SessionFixture.h"

namespace Support {

bool Screen::show(const std::u16string& instance) {
    if (whenShown)
        whenShown(instance);
    {
        std::lock_guard lock(mutex_);
        shown_.push_back(instance);
        everShown_.insert(instance);
        if (fleeting)
            ended_[instance] = true;
    }
    changed_.notify_all();
    return !refuses;
}

bool Screen::waitForOutcome(const std::u16string& instance) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return ended_.contains(instance); });
    return ended_[instance];
}

bool Screen::dismiss(const std::u16string& instance) {
    {
        std::lock_guard lock(mutex_);
        if (ended_.try_emplace(instance, true).second || !ended_[instance])
            ++dismissals_;
    }
    changed_.notify_all();
    return true;
}

std::u16string Screen::next(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, timeout, [&] { return !shown_.empty(); }))
        return {};
    std::u16string instance = shown_.front();
    shown_.pop_front();
    return instance;
}

void Screen::end(const std::u16string& instance, bool outcome) {
    {
        std::lock_guard lock(mutex_);
        ended_[instance] = outcome;
    }
    changed_.notify_all();
}

bool Screen::shownBefore(const std::u16string& instance) {
    std::lock_guard lock(mutex_);
    return everShown_.contains(instance);
}

size_t Screen::dismissals() {
    std::lock_guard lock(mutex_);
    return dismissals_;
}

Vok::SessionEnumerator SessionList::enumerator() {
    return [this](std::vector<Platform::UserSession>& list) {
        using State = Platform::UserSessionState;
        list.push_back({7, State::disconnected});
        list.push_back({active, active ? State::active : State::idle});
        list.push_back({8, State::connected});
        if (whenListed)
            whenListed();
        return !fails;
    };
}

Vok::AlertInfo alertInfo(const AlertWords& words) {
    Vok::AlertInfo info;
    info.id = words.id;
    info.instanceId = words.instance;
    info.priority = words.priority;
    info.product = words.product;
    info.preferredViewer = {u"v"};
    std::u16string actions;
    for (size_t i = 0; i < words.actions; ++i)
        actions += (i ? u"," : u"") + std::u16string(u"{\"text\":\"a\",\"id\":\"a\",\"defaultmessage\":{}}");
    info.context = u"{\"title\":\"" + words.title + u"\",\"actions\":[" + actions + u"]}";
    return info;
}

SessionFixture::SessionFixture() {
    global = std::make_shared<Vok::AlertGlobalSession>(viewers, plugins, dispatcher());
}

std::shared_ptr<Vok::Alert> SessionFixture::alertWith(const AlertWords& words) {
    return std::make_shared<ScreenAlert>(alertInfo(words), client, screen);
}

std::shared_ptr<Vok::Alert> SessionFixture::alert(const std::u16string& instance, int32_t priority) {
    return alertWith(
        {.instance = instance, .id = u"id of " + instance, .priority = priority, .title = instance});
}

std::shared_ptr<Vok::AlertDispatcher> SessionFixture::dispatcher() {
    return std::make_shared<Vok::AlertDispatcher>(viewers, plugins, client);
}

std::shared_ptr<Vok::AlertUserSession> SessionFixture::userSession(uint32_t id) {
    return std::make_shared<Vok::AlertUserSession>(id, viewers, plugins, global, dispatcher(),
                                                   bus.makeClient(), sessions.enumerator());
}

bool SessionFixture::queue(Vok::AlertSession& session, std::shared_ptr<Vok::Alert> alert) {
    bool suppressed = false;
    session.queueAlert(std::move(alert), suppressed);
    return !suppressed;
}

}  // namespace Support
