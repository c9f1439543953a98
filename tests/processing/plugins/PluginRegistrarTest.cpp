#include <atomic>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <brevant/status.h>

#include "processing/plugins/AlertPluginLib.h"
#include "processing/plugins/PluginRegistrar.h"
#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"

namespace {

// What happened to the plugins of a test, shared by all of them.
struct Journal {
    uint32_t loadStatus = MODULE_STATUS_SUCCESS;
    int loads = 0;
    std::atomic<int> running{0};
    std::atomic<int> mostRunning{0};
    std::atomic<int> invalidations{0};
    std::function<void()> duringCall;
};

class FakePlugin : public Vok::AlertPluginLib {
public:
    FakePlugin(const std::u16string& product, std::shared_ptr<Tavix::SettingsManager> settings,
               Journal& journal)
        : AlertPluginLib(product, nullptr, std::move(settings)), journal_(journal), product_(product) {}

    uint32_t load() override {
        ++journal_.loads;
        return journal_.loadStatus;
    }
    uint32_t processAlert(const std::u16string& alertText, std::u16string& processed, uint32_t* suppress,
                          std::u16string& extra) override {
        const int running = ++journal_.running;
        if (running > journal_.mostRunning)
            journal_.mostRunning = running;
        processed = product_ + u" processed " + alertText;
        *suppress = 1;
        extra = u"extra";
        std::this_thread::yield();
        if (journal_.duringCall)
            journal_.duringCall();
        --journal_.running;
        return 7;
    }
    uint32_t getAlertContent(const std::u16string& alertText, const std::u16string& viewerId,
                             std::u16string& content) override {
        content = product_ + u" content of " + alertText + u" for " + viewerId;
        return 8;
    }
    void setState(Vok::PluginState state) override {
        state_ = state;
        ++journal_.invalidations;
    }
    Vok::PluginState state() const { return state_; }

private:
    Journal& journal_;
    const std::u16string product_;
    std::atomic<Vok::PluginState> state_{Vok::PluginState::loaded};
};

class PluginRegistrarTest : public testing::Test {
protected:
    std::unique_ptr<Vok::PluginRegistrar> makeRegistrar() {
        return std::make_unique<Vok::PluginRegistrar>(settings, [this](const std::u16string& product) {
            return plugins[product] = std::make_shared<FakePlugin>(product, settings, journal);
        });
    }
    uint32_t process(const std::u16string& product) {
        return registrar->processAlert(product, u"text", processed, &suppress, extra);
    }
    // The settings manager tells that the property of that name was deleted.
    void deleted(const std::u16string& name) {
        bus.deliver(u"SettingsManager.Notify.Delete.Brevant/Product/any", u"{\"name\":\"" + name + u"\"}");
    }

    FakeBus bus;
    Journal journal;
    std::map<std::u16string, std::shared_ptr<FakePlugin>> plugins;
    std::shared_ptr<Tavix::SettingsManagerClient> settings =
        std::make_shared<Tavix::SettingsManagerClient>(bus.makeClient());
    std::unique_ptr<Vok::PluginRegistrar> registrar = makeRegistrar();
    std::u16string processed, extra, content;
    uint32_t suppress = 0;
};

TEST_F(PluginRegistrarTest, LoadsAProductsPluginAtItsFirstAlertOnly) {
    EXPECT_EQ(process(u"A"), 7u);
    EXPECT_EQ(processed, u"A processed text");
    EXPECT_EQ(suppress, 1u);
    EXPECT_EQ(extra, u"extra");
    EXPECT_EQ(registrar->getAlertContent(u"A", u"text", u"V", content), 8u);
    EXPECT_EQ(content, u"A content of text for V");
    EXPECT_EQ(journal.loads, 1);
    process(u"a");
    EXPECT_EQ(journal.loads, 2);
}

TEST_F(PluginRegistrarTest, TriesAgainForAProductWhosePluginDoesNotLoad) {
    journal.loadStatus = MODULE_STATUS_NOT_SUPPORTED;
    EXPECT_EQ(process(u"A"), MODULE_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(registrar->getAlertContent(u"A", u"text", u"V", content), MODULE_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(journal.loads, 2);
    EXPECT_EQ(plugins[u"A"].use_count(), 1);
    journal.loadStatus = MODULE_STATUS_SUCCESS;
    EXPECT_EQ(process(u"A"), 7u);
}

TEST_F(PluginRegistrarTest, InvalidatesTheProductWhoseDefinitionIsDeleted) {
    for (const char16_t* product : {u"A", u"B", u"C", u"Product"})
        process(product);
    registrar->start();
    deleted(u"Brevant/Product/A");
    deleted(u"Brevant/Product/unknown");
    deleted(u"Brevant/Product");
    deleted(u"C");
    EXPECT_EQ(plugins[u"A"]->state(), Vok::PluginState::invalidated);
    EXPECT_EQ(plugins[u"B"]->state(), Vok::PluginState::loaded);
    EXPECT_EQ(plugins[u"C"]->state(), Vok::PluginState::invalidated);
    EXPECT_EQ(plugins[u"Product"]->state(), Vok::PluginState::invalidated);
    EXPECT_EQ(journal.loads, 4);

    registrar->stop();
    deleted(u"Brevant/Product/B");
    EXPECT_EQ(plugins[u"B"]->state(), Vok::PluginState::loaded);
}

TEST_F(PluginRegistrarTest, InvalidatesAfterACallWhatIsDeletedFromInsideIt) {
    process(u"B");
    registrar->start();
    Vok::PluginState during{};
    journal.duringCall = [&] {
        deleted(u"Brevant/Product/A");
        deleted(u"Brevant/Product/B");
        during = plugins[u"B"]->state();
    };
    EXPECT_EQ(process(u"A"), 7u);
    EXPECT_EQ(during, Vok::PluginState::loaded);
    EXPECT_EQ(plugins[u"A"]->state(), Vok::PluginState::invalidated);
    EXPECT_EQ(plugins[u"B"]->state(), Vok::PluginState::invalidated);
    journal.duringCall = nullptr;
    process(u"A");
    EXPECT_EQ(journal.invalidations, 2);
}

TEST_F(PluginRegistrarTest, CallsOnePluginAtATimeWhateverTheProduct) {
    std::vector<std::thread> threads;
    for (const char16_t* product : {u"A", u"B", u"C"})
        threads.emplace_back([this, product] {
            std::u16string text;
            uint32_t flag = 0;
            for (int i = 0; i < 300; ++i)
                registrar->processAlert(product, u"text", text, &flag, text);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(journal.mostRunning, 1);
}

TEST_F(PluginRegistrarTest, CanBeDestroyedWhileNotificationsArrive) {
    std::atomic<bool> done{false};
    std::thread notifier([&] {
        while (!done)
            deleted(u"Brevant/Product/A");
    });
    // Not stopped: its subscription stays with the settings client.
    for (int i = 0; i < 100; ++i) {
        registrar = makeRegistrar();
        registrar->start();
        process(u"A");
    }
    done = true;
    notifier.join();
    registrar.reset();
    const int before = journal.invalidations;
    deleted(u"Brevant/Product/A");
    EXPECT_EQ(journal.invalidations, before);
}

}  // namespace
