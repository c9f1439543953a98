// The broker module on a fake bus of its own, its sessions over viewers that show on the test's screen.
// Alerts listen for their outcome on the bus library beside the program.
#pragma once

#include <brevant/cpp/alerts.h>

#include "alerts/sessions/SessionFixture.h"
#include "module/BrevantImpl.h"

namespace Support {

class ScreenViewer : public Vok::AlertViewer {
public:
    ScreenViewer(std::shared_ptr<Tavix::MessageBusClient> client, std::shared_ptr<Screen> screen)
        : AlertViewer(u"v", std::move(client)), screen_(std::move(screen)) {}
    bool show(const std::u16string&, const std::u16string&, const std::u16string& instance) override {
        return screen_->show(instance);
    }
    // Refuses: the alert stays until its user is done.
    bool dismiss(const std::u16string&, const std::u16string&) override {
        if (whenDismissed)
            whenDismissed();
        return false;
    }

    std::function<void()> whenDismissed;  // on the thread of a delete request, which holds the session map

private:
    const std::shared_ptr<Screen> screen_;
};

class BrevantFixture : public SessionFixture, protected Vok::AlertSessionFactory {
protected:
    BrevantFixture() {
        viewers->viewer = viewer;
        // Without ownership: the fixture outlives the module.
        const std::shared_ptr<AlertSessionFactory> factory(std::shared_ptr<void>(), this);
        module = std::make_unique<Vok::BrevantImpl>(viewers, plugins, factory, sessions.enumerator());
        const auto manager = std::make_shared<Tavix::internal::ModuleManagerShim>(nullptr, nullptr);
        module->baseInitialize(u"Brevant", u"", {}, manager, bus.makeClient());
        module->initialize();
    }

    // Requests as the bus delivers them; the handler's status.
    uint32_t request(const std::u16string& topic, const std::u16string& payload = u"") {
        return bus.deliver(BREVANT_ALERT_PREFIX + topic, payload);
    }
    uint32_t showWith(const AlertWords& words, uint32_t session) {
        Vok::AlertInfo info = alertInfo(words);
        info.sessionId = session;
        return request(u"Show." + words.instance, info.toJson());
    }
    uint32_t show(const std::u16string& instance, uint32_t session = 1) {
        return showWith({.instance = instance, .title = instance}, session);
    }
    uint32_t remove(const std::u16string& instance) { return request(u"Delete." + instance); }
    uint32_t logoffWith(const std::u16string& payload) {
        return bus.deliver(BREVANT_SESSION_LOGOFF, payload);
    }
    uint32_t logoff(uint32_t session) {
        return logoffWith(u"{\"sessionId\":" + Ferrow::decimal(session) + u"}");
    }
    void takeIds(size_t count) {
        for (size_t i = 0; i < count; ++i)
            EXPECT_EQ(request(u"GetId"), MODULE_STATUS_SUCCESS);
    }
    void dismissedByUser(const std::u16string& instance) {
        Tavix::MessageBusClient().publish(Tavix::makeMessage(
            Brevant::alertMessage(u"id", BREVANT_ALERT_DISMISSED, instance), u"viewer", u""));
    }
    void expectShownAndDismiss(const std::u16string& instance) {
        EXPECT_EQ(screen->next(), instance);
        dismissedByUser(instance);
    }
    std::u16string lastPublished() { return bus.published().back().name; }
    void waitForLog(uint32_t level, const std::u16string& message, size_t count = 1) {
        EXPECT_TRUE(eventually([&] { return log.count(level, message) >= count; }));
    }

    LogCapture log;
    std::vector<uint32_t> createdSessions;
    const std::shared_ptr<ScreenViewer> viewer = std::make_shared<ScreenViewer>(client, screen);
    std::unique_ptr<Vok::BrevantImpl> module;

private:
    std::shared_ptr<Vok::AlertUserSession> createUserSession(
        uint32_t id, const std::shared_ptr<Vok::ViewerRegistrar>&,
        const std::shared_ptr<Vok::PluginRegistrar>&,
        const std::shared_ptr<Vok::AlertGlobalSession>&) override {
        createdSessions.push_back(id);
        return userSession(id);
    }
    std::shared_ptr<Vok::AlertGlobalSession> createGlobalSession(
        const std::shared_ptr<Vok::ViewerRegistrar>&, const std::shared_ptr<Vok::PluginRegistrar>&) override {
        return global;
    }
};

}  // namespace Support
