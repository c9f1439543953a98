#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <utility>

#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

using Tavix::SettingsManagerClient;

constexpr uint32_t warning = 2;
constexpr char16_t setBroadcast[] = u"SETTINGS_MANAGER_PROPERTY_SET";
constexpr char16_t removedBroadcast[] = u"SETTINGS_MANAGER_PROPERTY_REMOVED";

class SettingsNotificationsTest : public testing::Test {
protected:
    // Takes down what it is called with under a label.
    auto note(const std::u16string& label) {
        return [this, label](const std::u16string& name) { notes.push_back(label + u":" + name); };
    }
    auto noteValue(const std::u16string& label) {
        return [this, label](const std::u16string& name, const std::u16string& value) {
            notes.push_back(label + u":" + name + u"=" + value);
        };
    }
    std::vector<std::u16string> taken() { return std::exchange(notes, {}); }

    using Notes = std::vector<std::u16string>;
    Notes notes;
    LogCapture log;
    FakeBus bus;
    std::optional<SettingsManagerClient> settings{bus.makeClient()};
};

TEST_F(SettingsNotificationsTest, ReportBroadcastsOfOneNameOrOfAll) {
    EXPECT_TRUE(settings->registerPropertySetCallback(u"a", note(u"one")));
    EXPECT_TRUE(settings->registerPropertySetCallback(note(u"all")));
    EXPECT_TRUE(settings->registerPropertyRemovedCallback(u"a", note(u"gone")));
    EXPECT_TRUE(settings->registerPropertyRemovedCallback(note(u"all gone")));
    bus.deliver(setBroadcast, u"{\"name\":\"a\"}");
    Notes got = taken();
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, (Notes{u"all:a", u"one:a"}));
    bus.deliver(setBroadcast, u"{\"name\":\"A\"}");
    EXPECT_EQ(taken(), Notes{u"all:A"});
    bus.deliver(removedBroadcast, u"{\"name\":\"a\"}");
    EXPECT_EQ(taken().size(), 2u);
    bus.deliver(removedBroadcast, u"{\"name\":\"ab\"}");
    EXPECT_EQ(taken(), Notes{u"all gone:ab"});
}

TEST_F(SettingsNotificationsTest, FollowANameAsThePatternThatItIs) {
    EXPECT_TRUE(settings->subscribeSet(noteValue(u"set"), u"a.b"));
    EXPECT_TRUE(settings->subscribeDelete(note(u"deleted"), u"a.b"));
    for (const std::u16string name : {u"a.b", u"aXb", u"a.bc"}) {
        bus.deliver(u"SettingsManager.Notify.Set." + name, u"{\"name\":\"" + name + u"\",\"value\":\"v\"}");
        EXPECT_EQ(taken(), Notes{u"set:" + name + u"=v"});
        bus.deliver(u"SettingsManager.Notify.Delete." + name, u"{\"name\":\"" + name + u"\"}");
        EXPECT_EQ(taken(), Notes{u"deleted:" + name});
    }
    bus.deliver(u"SettingsManager.Notify.Set.b", u"{\"name\":\"b\",\"value\":\"v\"}");
    EXPECT_TRUE(taken().empty());

    EXPECT_TRUE(settings->unsubscribeSet(u""));
    EXPECT_TRUE(settings->unsubscribeDelete(u""));
    EXPECT_EQ(bus.subscriptionCount(), 2u);
    EXPECT_TRUE(settings->unsubscribeSet(u"a.b"));
    bus.deliver(u"SettingsManager.Notify.Set.a.b", u"{\"name\":\"a.b\",\"value\":\"v\"}");
    EXPECT_TRUE(taken().empty());
    EXPECT_TRUE(settings->unsubscribeDelete(u"a.b"));
    EXPECT_EQ(bus.subscriptionCount(), 0u);
    EXPECT_FALSE(settings->subscribeSet(noteValue(u"set"), u"("));
}

TEST_F(SettingsNotificationsTest, ThatCannotBeReadAreRefusedAndLogged) {
    settings->registerPropertySetCallback(note(u"set"));
    settings->subscribeSet(noteValue(u"value"), u"n");
    settings->subscribeDelete(note(u"deleted"), u"n");
    const auto refused = [&](const std::u16string& topic, const std::u16string& payload,
                             const std::u16string& function, const std::u16string& text) {
        log.clear();
        EXPECT_EQ(bus.deliver(topic, payload), MODULE_STATUS_DATA_ERROR) << testing::PrintToString(topic);
        ASSERT_EQ(log.count(warning, text), 1u) << testing::PrintToString(text);
        EXPECT_EQ(log.records()[0].function, u"Tavix::SettingsManagerClient::" + function);
    };
    const std::u16string noData = u"Failed to parse setting property data.";
    const std::u16string noName = u"Failed to read setting property name.";
    refused(setBroadcast, u"", u"onPropertyNotify", noData);
    refused(setBroadcast, u"{\"name\":1}", u"onPropertyNotify", noName);
    refused(u"SettingsManager.Notify.Set.n", u"[]", u"onPropertyNotifySet", noData);
    refused(u"SettingsManager.Notify.Set.n", u"{\"value\":\"v\"}", u"onPropertyNotifySet", noName);
    refused(u"SettingsManager.Notify.Set.n", u"{\"name\":\"n\"}", u"onPropertyNotifySet",
            u"Failed to read setting value.");
    refused(u"SettingsManager.Notify.Delete.n", u"{", u"onPropertyNotifyDelete", noData);
    refused(u"SettingsManager.Notify.Delete.n", u"{}", u"onPropertyNotifyDelete", noName);
    EXPECT_TRUE(notes.empty());
}

// The client ends inside its own callback: what the callback goes on to use must not be the client's.
TEST_F(SettingsNotificationsTest, OutliveTheClient) {
    settings->subscribeSet(
        [this, kept = std::u16string(100, u'k')](const std::u16string& name, const std::u16string&) {
            settings.reset();
            notes.push_back(name + kept);
        },
        u"n");
    EXPECT_EQ(bus.deliver(u"SettingsManager.Notify.Set.n", u"{\"name\":\"n\",\"value\":\"v\"}"),
              MODULE_STATUS_SUCCESS);
    EXPECT_EQ(taken(), Notes{u"n" + std::u16string(100, u'k')});
    EXPECT_EQ(bus.subscriptionCount(), 0u);
}

TEST_F(SettingsNotificationsTest, FailToBeSubscribedWhenTheBusRefuses) {
    bus.failNext("subscribe", 0x80000002);
    EXPECT_FALSE(settings->registerPropertySetCallback(note(u"set")));
    bus.failNext("subscribePattern", 0x80000002);
    EXPECT_FALSE(settings->subscribeDelete(note(u"deleted"), u"n"));
}

}  // namespace
