#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <brevant/status.h>

#include "alerts/viewers/AlertViewer.h"
#include "alerts/viewers/ViewerRegistrar.h"
#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

class ViewerRegistrarTest : public testing::Test {
protected:
    // The settings manager's answer to the first read.
    void settingsHold(const std::vector<std::u16string>& names) {
        std::u16string responses;
        for (const std::u16string& name : names)
            responses += (responses.empty() ? u"" : u",") +
                         (u"{\"name\":\"" + name + u"\",\"status\":true,\"value\":\"1\"}");
        bus.answer(u"SettingsManager.GetProperties.Request",
                   [payload = u"{\"responses\":[" + responses + u"]}"](const FakeBus::Sent&) {
                       return std::optional<FakeBus::Answer>({u"Response", payload});
                   });
    }

    uint32_t propertySet(const std::u16string& name) {
        return bus.deliver(u"SettingsManager.Notify.Set." + name,
                           u"{\"name\":\"" + name + u"\",\"value\":\"1\"}");
    }
    uint32_t propertyDeleted(const std::u16string& name) {
        return bus.deliver(u"SettingsManager.Notify.Delete." + name, u"{\"name\":\"" + name + u"\"}");
    }

    std::vector<std::u16string> announced() const {
        std::vector<std::u16string> names;
        for (const FakeBus::Sent& message : bus.published())
            names.push_back(message.name);
        return names;
    }

    FakeBus bus;
    LogCapture log;
    std::unique_ptr<Vok::ViewerRegistrar> registrar =
        std::make_unique<Vok::ViewerRegistrar>(bus.makeClient(), nullptr);
};

TEST_F(ViewerRegistrarTest, KnowsTheViewersThatAreThereAndFollowsTheSettings) {
    settingsHold({u"Brevant/Viewer/A"});
    registrar->start();
    ASSERT_TRUE(registrar->findViewer(u"A"));
    EXPECT_EQ(registrar->findViewer(u"A")->getId(), u"A");

    EXPECT_EQ(propertySet(u"Brevant/Viewer/B/b"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(propertyDeleted(u"Brevant/Viewer/A"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(registrar->findViewer(u"B/b"));
    EXPECT_FALSE(registrar->findViewer(u"A"));
    EXPECT_FALSE(registrar->findViewer(u"a"));
    EXPECT_EQ(announced(),
              (std::vector<std::u16string>{u"Brevant.Viewer.A.Registered", u"Brevant.Viewer.B/b.Registered",
                                           u"Brevant.Viewer.A.Unregistered"}));
    EXPECT_EQ(bus.published()[0].sender, u"Brevant");
    EXPECT_EQ(bus.published()[0].payload, u"");
    EXPECT_TRUE(log.has(1, u"Viewer unregistered: A"));

    registrar->stop();
    propertySet(u"Brevant/Viewer/C");
    EXPECT_FALSE(registrar->findViewer(u"C"));
    EXPECT_TRUE(registrar->findViewer(u"B/b"));
}

TEST_F(ViewerRegistrarTest, AnnouncesWhatChangesNothingToo) {
    registrar->addViewer(u"Brevant/Viewer/A");
    const std::shared_ptr<Vok::AlertViewer> first = registrar->findViewer(u"A");
    registrar->addViewer(u"Brevant/Viewer/A");
    registrar->removeViewer(u"Brevant/Viewer/B");
    EXPECT_EQ(registrar->findViewer(u"A"), first);
    EXPECT_EQ(log.count(1, u"Viewer registered: A"), 2u);
    EXPECT_TRUE(log.has(1, u"Viewer unregistered: B"));
    EXPECT_EQ(announced(),
              (std::vector<std::u16string>{u"Brevant.Viewer.A.Registered", u"Brevant.Viewer.A.Registered",
                                           u"Brevant.Viewer.B.Unregistered"}));
}

TEST_F(ViewerRegistrarTest, TakesAForeignNameForTheEmptyId) {
    registrar->addViewer(u"X/Brevant/Viewer/A");
    ASSERT_TRUE(registrar->findViewer(u""));
    EXPECT_TRUE(log.has(4, u"Failed to parse viewer id. Unable to add viewer. Key: X/Brevant/Viewer/A"));
    registrar->removeViewer(u"brevant/Viewer/A");
    EXPECT_FALSE(registrar->findViewer(u""));
    EXPECT_TRUE(log.has(4, u"Failed to parse viewer id. Unable to remove viewer. Key: brevant/Viewer/A"));
    EXPECT_EQ(announced(),
              (std::vector<std::u16string>{u"Brevant.Viewer..Registered", u"Brevant.Viewer..Unregistered"}));

    registrar->addViewer(u"Brevant/Viewer/");
    EXPECT_TRUE(registrar->findViewer(u""));
}

TEST_F(ViewerRegistrarTest, RefusesAPropertyThatNamesNoViewer) {
    EXPECT_THROW(registrar->addViewer(u"Brevant/Viewer"), std::out_of_range);
    EXPECT_THROW(registrar->removeViewer(u"Brevant/Viewer"), std::out_of_range);

    settingsHold({u"Brevant/Viewer", u"Brevant/Viewer/A", u"Brevant/Viewer/B"});
    EXPECT_THROW(registrar->start(), std::out_of_range);
    EXPECT_TRUE(registrar->findViewer(u"A"));
    EXPECT_TRUE(registrar->findViewer(u"B"));
    EXPECT_EQ(propertySet(u"Brevant/Viewer"), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(propertySet(u"Brevant/Viewer/C"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(registrar->findViewer(u"C"));
}

TEST_F(ViewerRegistrarTest, StartsWithoutASettingsManager) {
    bus.failNext("subscribePattern", 0);
    registrar->start();
    EXPECT_TRUE(log.has(2, u"Failed to subscribe for alert viewer register operations."));
    EXPECT_TRUE(log.has(2, u"Failed to retreived registered viewers."));

    bus.failNext("subscribePattern", 0);
    bus.failNext("subscribePattern", 0);
    registrar->start();
    EXPECT_TRUE(log.has(2, u"Failed to subscribe for alert viewer unregister operations."));
    registrar->addViewer(u"Brevant/Viewer/A");
    EXPECT_TRUE(registrar->findViewer(u"A"));
}

TEST_F(ViewerRegistrarTest, CanBeDestroyedWhileNotificationsArrive) {
    settingsHold({});
    const auto client = bus.makeClient();
    // The settings client outlives the registrars, as it would with a bus that delivers late.
    const auto settings = std::make_shared<Tavix::SettingsManagerClient>(bus.makeClient());
    std::atomic<bool> done{false};
    std::thread notifier([&] {
        while (!done) {
            propertySet(u"Brevant/Viewer/A");
            propertyDeleted(u"Brevant/Viewer/A");
        }
    });
    for (int i = 0; i < 100; ++i) {
        Vok::ViewerRegistrar shortLived(client, settings);
        shortLived.start();
        shortLived.findViewer(u"A");
    }
    done = true;
    notifier.join();
}

}  // namespace
