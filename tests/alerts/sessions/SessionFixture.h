// Sessions without viewers and plugins: alerts show themselves on a screen that the test watches.
#pragma once

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "alerts/sessions/AlertUserSession.h"
#include "alerts/viewers/AlertViewer.h"
#include "platform/Process.h"
#include "support/FakeBus.h"
#include "support/FakePlugins.h"
#include "support/LogCapture.h"
#include "support/Monitor.h"
#include "text/Utf.h"

namespace Support {

// Keeps what was shown, in order, and each alert on it until the test ends it.
class Screen : Monitor {
public:
    // For alerts.
    bool show(const std::u16string& instance) {
        if (whenShown)
            whenShown(instance);
        return locked([&] {
            shown_.push_back(instance);
            if (fleeting)
                ended_[instance] = true;
            return !refuses;
        });
    }
    bool waitForOutcome(const std::u16string& instance) {
        await([&] { return ended_.contains(instance); });
        return locked([&] { return ended_[instance]; });
    }
    bool dismiss(const std::u16string& instance) {
        return locked([&] {
            dismissals_ += ended_.try_emplace(instance, true).second || !ended_[instance];
            return true;
        });
    }

    // The instance id of the next alert that was shown; empty when none comes.
    std::u16string next() {
        const bool come = comes([&] { return taken_ < shown_.size(); });
        return locked([&] { return come ? shown_[taken_++] : u""; });
    }
    void end(const std::u16string& instance, bool outcome = true) {
        locked([&] { ended_[instance] = outcome; });
    }
    bool shownBefore(const std::u16string& instance) const {
        return locked([&] { return std::ranges::find(shown_, instance) != shown_.end(); });
    }
    size_t dismissals() const {
        return locked([&] { return dismissals_; });
    }

    std::atomic<bool> refuses{false};
    std::atomic<bool> fleeting{false};                              // alerts end as soon as they are shown
    std::function<void(const std::u16string& instance)> whenShown;  // on the dispatch thread

private:
    std::vector<std::u16string> shown_;
    size_t taken_ = 0;
    std::map<std::u16string, bool> ended_;
    size_t dismissals_ = 0;
};

class ScreenAlert : public Vok::Alert {
public:
    ScreenAlert(Vok::AlertInfo info, std::shared_ptr<Tavix::MessageBusClient> client,
                std::shared_ptr<Screen> screen)
        : Alert(std::move(info), std::move(client)), screen_(std::move(screen)) {}
    bool show() override { return screen_->show(getInfo().instanceId); }
    bool waitForOutcome(int64_t) override { return screen_->waitForOutcome(getInfo().instanceId); }
    bool dismiss() override { return screen_->dismiss(getInfo().instanceId); }

private:
    const std::shared_ptr<Screen> screen_;
};

// Knows every viewer, as the same one.
class AnyViewer : public Vok::ViewerRegistrar {
public:
    explicit AnyViewer(const std::shared_ptr<Tavix::MessageBusClient>& client)
        : ViewerRegistrar(client), viewer(std::make_shared<Vok::AlertViewer>(u"v", client)) {}
    std::shared_ptr<Vok::AlertViewer> findViewer(const std::u16string&) const override {
        if (whenSought)
            whenSought();
        return viewer;
    }

    std::shared_ptr<Vok::AlertViewer> viewer;
    std::function<void()> whenSought;  // on the thread that queues an alert, which holds the session map
};

// The list of user sessions as the test wants it. Several may be active: the first one counts.
class SessionList {
public:
    std::atomic<uint32_t> active{1};  // 0: none
    std::atomic<bool> fails{false};
    std::atomic<int> looks{0};         // how often it was made
    std::function<void()> whenListed;  // on the asking thread, once the list has been made
    Vok::SessionEnumerator enumerator() {
        return [this](std::vector<Platform::UserSession>& list) {
            using State = Platform::UserSessionState;
            const State state = active ? State::active : State::connected;
            ++looks;
            list = {{7, State::disconnected}, {active, state}, {8, state}};
            if (whenListed)
                whenListed();
            return !fails;
        };
    }
};

struct AlertWords {
    std::u16string instance = u"1";
    std::u16string id = u"id";
    int32_t priority = 2;
    std::u16string title = u"title";
    std::u16string product = u"product";
    size_t actions = 0;
};

inline Vok::AlertInfo alertInfo(const AlertWords& words) {
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

class SessionFixture : public testing::Test {
protected:
    std::shared_ptr<Vok::Alert> alertWith(const AlertWords& words) {
        return std::make_shared<ScreenAlert>(alertInfo(words), client, screen);
    }
    // An alert of that instance, unlike all others.
    std::shared_ptr<Vok::Alert> alert(const std::u16string& instance, int32_t priority = 2) {
        return alertWith(
            {.instance = instance, .id = u"id of " + instance, .priority = priority, .title = instance});
    }
    std::shared_ptr<Vok::AlertDispatcher> dispatcher() {
        return std::make_shared<Vok::AlertDispatcher>(viewers, plugins, client);
    }
    std::shared_ptr<Vok::AlertUserSession> userSession(uint32_t id = 1, SessionList* list = nullptr) {
        return std::make_shared<Vok::AlertUserSession>(id, viewers, plugins, global, dispatcher(),
                                                       bus.makeClient(),
                                                       (list ? *list : sessions).enumerator());
    }
    // Whether it was queued.
    static bool queue(Vok::AlertSession& session, std::shared_ptr<Vok::Alert> alert) {
        bool suppressed = false;
        session.queueAlert(std::move(alert), suppressed);
        return !suppressed;
    }

    FakeBus bus;
    std::shared_ptr<Tavix::MessageBusClient> client = bus.makeClient();
    std::shared_ptr<Screen> screen = std::make_shared<Screen>();
    SessionList sessions;
    std::shared_ptr<AnyViewer> viewers = std::make_shared<AnyViewer>(client);
    std::shared_ptr<FakePlugins> plugins = std::make_shared<FakePlugins>(client);
    std::shared_ptr<Vok::AlertGlobalSession> global =
        std::make_shared<Vok::AlertGlobalSession>(viewers, plugins, dispatcher());
};

}  // namespace Support
