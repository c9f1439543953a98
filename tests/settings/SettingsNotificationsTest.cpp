#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <utility>

#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

using Tavix::SettingsManagerClient;

constexpr char16_t setBroadcast[] = u"SETTINGS_MANAGER_PROPERTY_SET";
constexpr char16_t removedBroadcast[] = u"SETTINGS_MANAGER_PROPERTY_REMOVED";

class SettingsNotificationsTest : public testing::Test {
protected:
    // Takes down what it is called with under a label: a name, and perhaps a value.
    auto note(const std::u16string& label) {
        return [this, label](const std::u16string& name, const auto&... value) {
            notes.push_back((label + u":" + name + ... + (u"=" + value)));
        };
    }
    using Notes = std::vector<std::u16string>;
    Notes taken() { return std::exchange(notes, {}); }

    Notes notes;
    LogCapture log;
    FakeBus bus;
    std::optional<SettingsManagerClient> settings{bus.makeClient()};
};

TEST_F(SettingsNotificationsTest, ReportBroadcastsOfOneNameOrOfAll) {
    EXPECT_TRUE(settings->registerPropertySetCallback(u"a", note(u"one")));
    EXPECT_TRUE(settings->registerPropertySetCallback(note(u"all")));
    EXPECT_TRUE(settings->registerPropertyRemovedCallback(u"a", note(u"one gone")));
    EXPECT_TRUE(settings->registerPropertyRemovedCallback(note(u"all gone")));
    for (const auto& [topic, word] :
         {std::pair(setBroadcast, std::u16string()), {removedBroadcast, std::u16string(u" gone")}}) {
        bus.deliver(topic, u"{\"name\":\"a\"}");
        const Notes got = taken();
        EXPECT_EQ(std::set(got.begin(), got.end()), (std::set{u"all" + word + u":a", u"one" + word + u":a"}));
        for (const std::u16string other : {u"A", u"ab"}) {
            bus.deliver(topic, u"{\"name\":\"" + other + u"\"}");
            EXPECT_EQ(taken(), Notes{u"all" + word + u":" + other});
        }
    }
}

TEST_F(SettingsNotificationsTest, FollowANameAsThePatternThatItIs) {
    EXPECT_TRUE(settings->subscribeSet(note(u"set"), u"a.b"));
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
    EXPECT_TRUE(settings->unsubscribeSet(u"a.b"));
    EXPECT_EQ(bus.subscriptionCount(), 1u);
    EXPECT_TRUE(settings->unsubscribeDelete(u"a.b"));
    EXPECT_EQ(bus.subscriptionCount(), 0u);
    EXPECT_FALSE(settings->subscribeSet(note(u"set"), u"("));
}

TEST_F(SettingsNotificationsTest, ThatCannotBeReadAreRefusedAndLogged) {
    settings->registerPropertySetCallback(note(u"set"));
    settings->subscribeSet(note(u"value"), u"n");
    settings->subscribeDelete(note(u"deleted"), u"n");
    const std::u16string set = u"SettingsManager.Notify.Set.n", deleted = u"SettingsManager.Notify.Delete.n";
    const std::u16string noData = u"Failed to parse setting property data.";
    const std::u16string noName = u"Failed to read setting property name.";
    const struct {
        std::u16string topic, payload, function, text;
    } cases[]{
        {setBroadcast, u"", u"onPropertyNotify", noData},
        {setBroadcast, u"{\"name\":1}", u"onPropertyNotify", noName},
        {set, u"[]", u"onPropertyNotifySet", noData},
        {set, u"{\"value\":\"v\"}", u"onPropertyNotifySet", noName},
        {set, u"{\"name\":\"n\"}", u"onPropertyNotifySet", u"Failed to read setting value."},
        {deleted, u"{", u"onPropertyNotifyDelete", noData},
        {deleted, u"{}", u"onPropertyNotifyDelete", noName},
    };
    for (const auto& [topic, payload, function, text] : cases) {
        EXPECT_EQ(bus.deliver(topic, payload), MODULE_STATUS_DATA_ERROR) << testing::PrintToString(topic);
        const auto last = log.records().back();
        EXPECT_EQ(last.level, 2u);
        EXPECT_EQ(last.message, text) << testing::PrintToString(last.message);
        EXPECT_EQ(last.function, u"Tavix::SettingsManagerClient::" + function);
    }
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

}  // namespace
