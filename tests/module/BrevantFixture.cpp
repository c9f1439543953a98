#include "module/BrevantFixture.h"

namespace Support {

namespace {

class ScreenViewers : public Vok::ViewerRegistrar {
public:
    ScreenViewers(const std::shared_ptr<Tavix::MessageBusClient>& client, std::shared_ptr<Screen> screen)
        : ViewerRegistrar(client), viewer_(std::make_shared<ScreenViewer>(client, std::move(screen))) {}
    std::shared_ptr<Vok::AlertViewer> findViewer(const std::u16string&) const override { return viewer_; }

private:
    const std::shared_ptr<Vok::AlertViewer> viewer_;
};

uint32_t publishDismissed(Tavix::MessageBusClient& bus, const std::u16string& id,
                          const std::u16string& instance) {
    return bus.publish(
        Tavix::makeMessage(u"Brevant.Alert." + id + u".Dismissed." + instance, u"viewer", u""));
}

}  // namespace

ScreenViewer::ScreenViewer(std::shared_ptr<Tavix::MessageBusClient> client, std::shared_ptr<Screen> screen)
    : AlertViewer(u"v", std::move(client)), screen_(std::move(screen)) {}

bool ScreenViewer::show(const std::u16string&, const std::u16string&, const std::u16string& instanceId) {
    return screen_->show(instanceId);
}

bool ScreenViewer::dismiss(const std::u16string& alertId, const std::u16string& instanceId) {
    screen_->dismiss(instanceId);
    return publishDismissed(embeddedBus_, alertId, instanceId) == MODULE_STATUS_SUCCESS;
}

class BrevantFixture::Factory : public Vok::AlertSessionFactory {
public:
    explicit Factory(BrevantFixture& fixture) : fixture_(fixture) {}

    std::shared_ptr<Vok::AlertUserSession> createUserSession(
        uint32_t sessionId, const std::shared_ptr<Vok::ViewerRegistrar>& viewerRegistrar,
        const std::shared_ptr<Vok::PluginRegistrar>& pluginRegistrar,
        const std::shared_ptr<Vok::AlertGlobalSession>& globalSession) override {
        {
            std::lock_guard lock(mutex_);
            created_.insert(sessionId);
        }
        return std::make_shared<Vok::AlertUserSession>(
            sessionId, viewerRegistrar, pluginRegistrar, globalSession,
            std::make_shared<Vok::AlertDispatcher>(viewerRegistrar, pluginRegistrar, fixture_.client),
            fixture_.bus.makeClient(), fixture_.sessions.enumerator());
    }
    std::shared_ptr<Vok::AlertGlobalSession> createGlobalSession(
        const std::shared_ptr<Vok::ViewerRegistrar>& viewerRegistrar,
        const std::shared_ptr<Vok::PluginRegistrar>& pluginRegistrar) override {
        return std::make_shared<Vok::AlertGlobalSession>(
            viewerRegistrar, pluginRegistrar,
            std::make_shared<Vok::AlertDispatcher>(viewerRegistrar, pluginRegistrar, fixture_.client));
    }
    std::set<uint32_t> created() {
        std::lock_guard lock(mutex_);
        return created_;
    }

private:
    BrevantFixture& fixture_;
    std::mutex mutex_;
    std::set<uint32_t> created_;
};

BrevantFixture::BrevantFixture() : factory_(std::make_shared<Factory>(*this)) {
    module = std::make_unique<Vok::BrevantImpl>(std::make_shared<ScreenViewers>(client, screen), plugins,
                                                factory_, sessions.enumerator());
    EXPECT_EQ(module->baseInitialize(u"Brevant", u"", {},
                                     std::make_shared<Tavix::internal::ModuleManagerShim>(nullptr, nullptr),
                                     bus.makeClient()),
              MODULE_STATUS_SUCCESS);
    EXPECT_EQ(module->initialize(), MODULE_STATUS_SUCCESS);
}

BrevantFixture::~BrevantFixture() = default;

uint32_t BrevantFixture::showWith(const AlertWords& words, uint32_t session) {
    Vok::AlertInfo info = alertInfo(words);
    info.sessionId = session;
    return bus.deliver(u"Brevant.Alert.Show." + words.instance, info.toJson());
}

uint32_t BrevantFixture::show(const std::u16string& instance, uint32_t session) {
    return showWith({.instance = instance, .title = instance}, session);
}

uint32_t BrevantFixture::logoff(uint32_t session) {
    return bus.deliver(u"SystemMonitor.UserSession.Logoff",
                       u"{\"sessionId\":" + Ferrow::decimal(session) + u"}");
}

void BrevantFixture::takeIds(size_t count) {
    for (size_t i = 0; i < count; ++i)
        bus.deliver(u"Brevant.Alert.GetId", u"");
}

void BrevantFixture::dismissedByUser(const std::u16string& instance) {
    Tavix::MessageBusClient embeddedBus;
    EXPECT_EQ(publishDismissed(embeddedBus, u"id", instance), MODULE_STATUS_SUCCESS);
}

bool BrevantFixture::published(const std::u16string& name) {
    return bus.waitForPublished(name, patience);
}

size_t BrevantFixture::publishedCount() {
    return bus.published().size();
}

std::set<uint32_t> BrevantFixture::createdSessions() {
    return factory_->created();
}

}  // namespace Support
