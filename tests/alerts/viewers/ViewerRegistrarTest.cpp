#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <thread>

#include "alerts/viewers/AlertViewer.h"
#include "alerts/viewers/ViewerRegistrar.h"
#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

using Names = std::vector<std::u16string>;

class ViewerRegistrarTest : public testing::Test {
protected:
    void settingsHold(const Names& names) {
        std::u16string list;
        for (const std::u16string& name : names)
            list += (list.empty() ? u"" : u",") + (uR"({"status":true,"value":"","name":")" + name + u"\"}");
        bus.answer(u"SettingsManager.GetProperties.Request", [list](const auto&) {
            return FakeBus::Answer{u"Response", uR"({"responses":[)" + list + u"]}"};
        });
    }
    uint32_t notify(const std::u16string& change, const std::u16string& name) {
        return bus.deliver(u"SettingsManager.Notify." + change + u"." + name,
                           uR"({"value":"","name":")" + name + uR"("})");
    }
    Names announced() const {
        Names names;
        for (const FakeBus::Sent& message : bus.published()) {
            EXPECT_EQ(message.sender, u"Brevant");
            EXPECT_TRUE(message.payload.empty());
            names.push_back(message.name);
        }
        return names;
    }

    FakeBus bus;
    LogCapture log;
    Vok::ViewerRegistrar registrar{bus.makeClient()};
};

TEST_F(ViewerRegistrarTest, TakesAForeignNameForTheEmptyIdAndRefusesOneThatNamesNoViewer) {
    registrar.addViewer(u"X/Brevant/Viewer/A");
    EXPECT_TRUE(registrar.findViewer(u""));
    EXPECT_TRUE(log.has(4, u"Failed to parse viewer id. Unable to add viewer. Key: X/Brevant/Viewer/A"));
    registrar.removeViewer(u"brevant/Viewer/A");
    EXPECT_FALSE(registrar.findViewer(u""));
    EXPECT_TRUE(log.has(4, u"Failed to parse viewer id. Unable to remove viewer. Key: brevant/Viewer/A"));
    EXPECT_EQ(announced(), (Names{u"Brevant.Viewer..Registered", u"Brevant.Viewer..Unregistered"}));

    settingsHold({u"Brevant/Viewer", u"Brevant/Viewer/", u"Brevant/Viewer/A"});
    EXPECT_THROW(registrar.start(), std::out_of_range);
    EXPECT_TRUE(registrar.findViewer(u""));
    EXPECT_TRUE(registrar.findViewer(u"A"));
    EXPECT_EQ(notify(u"Delete", u"Brevant/Viewer"), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(notify(u"Delete", u"Brevant/Viewer/A"), MODULE_STATUS_SUCCESS);

    registrar.stop();
    notify(u"Set", u"Brevant/Viewer/C");
    EXPECT_FALSE(registrar.findViewer(u"C"));
}

TEST_F(ViewerRegistrarTest, EndsWithWhatTheSettingsHoldInWhateverOrderTheyTell) {
    const std::u16string name = u"Brevant/Viewer/A";
    for (unsigned seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        Vok::ViewerRegistrar follower(bus.makeClient());
        bool isSet = random() % 2;
        size_t changes = 6, sets = 0, deletions = 0;  // not made yet; not told yet
        const std::function<void()> goOn = [&] {
            const auto what = random() % 16;
            if (what == 0 && changes) {
                follower.stop();
                follower.start();
            } else if (what < 6 && changes) {
                --changes;
                isSet = !isSet;
                ++(isSet ? sets : deletions);
            } else if (what < 11 && sets) {
                --sets;
                notify(u"Set", name);
            } else if (deletions) {
                --deletions;
                notify(u"Delete", name);
            }
        };
        // More happens while an answer is on its way.
        const auto answering = [&](const std::u16string& before, const std::u16string& after) {
            return [&goOn, &isSet, before, after](const auto&) {
                const std::u16string payload = before + (isSet ? u"true" : u"false") + after;
                goOn();
                goOn();
                return FakeBus::Answer{u"Response", payload};
            };
        };
        const std::u16string rest = u",\"value\":\"\",\"name\":\"" + name + u"\"}";
        bus.answer(u"SETTINGS_MANAGER_GET_PROPERTY", answering(u"{\"status\":", rest));
        bus.answer(u"SettingsManager.GetProperties.Request",
                   answering(u"{\"responses\":[{\"status\":", rest + u"]}"));
        follower.start();
        while (changes || sets || deletions)
            goOn();
        EXPECT_EQ(follower.findViewer(u"A") != nullptr, isSet);
    }
}

TEST_F(ViewerRegistrarTest, CanBeDestroyedWhileNotificationsArrive) {
    settingsHold({});
    // Outlives the registrars, as it would with a bus that delivers late.
    const auto settings = std::make_shared<Tavix::SettingsManagerClient>(bus.makeClient());
    const std::jthread manager([&](const std::stop_token& end) {
        while (!end.stop_requested())
            notify(u"Set", u"Brevant/Viewer/A");
    });
    for (int i = 0; i < 1000; ++i)
        std::make_unique<Vok::ViewerRegistrar>(bus.makeClient(), settings)->start();
}

}  // namespace
