#include <brevant/settings.h>

#include "HostFixture.h"
#include "SettingsProtocol.h"
#include "SettingsService.h"

namespace Host {
namespace {

class SettingsProtocolTest : public HostTest {
protected:
    SettingsStore store{inFolder(u"settings.json")};

    SettingsAnswer ask(std::u16string_view topic, const std::u16string& payload) {
        return answerSettingsRequest(store, topic, payload);
    }
    static std::vector<std::u16string> names(const SettingsAnswer& answer) {
        std::vector<std::u16string> result;
        for (const SettingsNotice& notice : answer.notices)
            result.push_back(notice.name);
        return result;
    }
};

TEST_F(SettingsProtocolTest, AnswersSingleRequestsInTheShapeOfTheProtocol) {
    const auto set = ask(BREVANT_SETTINGS_SET, uR"({"name":"a.b","value":"1","volatile":false})");
    EXPECT_EQ(set.payload, uR"({"name":"a.b","status":true})");
    EXPECT_EQ(names(set), (std::vector<std::u16string>{u"SETTINGS_MANAGER_PROPERTY_SET",
                                                       u"SettingsManager.Notify.Set.a.b"}));
    EXPECT_EQ(set.notices[0].payload, uR"({"name":"a.b"})");
    EXPECT_EQ(set.notices[1].payload, uR"({"name":"a.b","value":"1"})");
    EXPECT_EQ(ask(BREVANT_SETTINGS_SET, uR"({"name":"a.b","value":"1"})").notices.size(), 2u)
        << "the same value again is announced again";

    EXPECT_EQ(ask(BREVANT_SETTINGS_GET, uR"({"name":"a.b"})").payload,
              uR"({"name":"a.b","status":true,"value":"1"})");
    EXPECT_EQ(ask(BREVANT_SETTINGS_GET, uR"({"name":"A.B"})").payload, uR"({"name":"A.B","status":false})");

    const auto removed = ask(BREVANT_SETTINGS_REMOVE, uR"({"name":"a.b"})");
    EXPECT_EQ(removed.payload, uR"({"name":"a.b","status":true})");
    EXPECT_EQ(names(removed), (std::vector<std::u16string>{u"SETTINGS_MANAGER_PROPERTY_REMOVED",
                                                           u"SettingsManager.Notify.Delete.a.b"}));
    EXPECT_EQ(removed.notices[1].payload, uR"({"name":"a.b"})");
    const auto again = ask(BREVANT_SETTINGS_REMOVE, uR"({"name":"a.b"})");
    EXPECT_EQ(again.payload, uR"({"name":"a.b","status":false})");
    EXPECT_TRUE(again.notices.empty());
}

TEST_F(SettingsProtocolTest, AnswersBatchesItemByItem) {
    const auto set = ask(BREVANT_SETTINGS_SET_BATCH,
                         uR"({"properties":[{"name":"a","value":"1","volatile":true},{"name":"b"},)"
                         uR"({"name":"","value":"3","volatile":true},{"name":"c","value":"3"}]})");
    EXPECT_EQ(set.payload,
              uR"({"responses":[{"name":"b","status":false},{"name":"a","status":true},)"
              uR"({"name":"","status":false},{"name":"c","status":true}]})");
    EXPECT_FALSE(set.understood);
    EXPECT_EQ(set.notices.size(), 4u);
    EXPECT_EQ(ask(BREVANT_SETTINGS_GET_BATCH, uR"({"properties":[{"name":"a"},{"name":"x"},{"name":"a"}]})")
                  .payload,
              uR"({"responses":[{"name":"a","status":true,"value":"1"},{"name":"x","status":false},)"
              uR"({"name":"a","status":true,"value":"1"}]})");
    const auto removed = ask(BREVANT_SETTINGS_REMOVE_BATCH, uR"({"properties":[{"name":"a"},{"name":"x"}]})");
    EXPECT_EQ(removed.payload, uR"({"responses":[{"name":"a","status":true},{"name":"x","status":false}]})");
    EXPECT_EQ(removed.notices.size(), 2u);
}

TEST_F(SettingsProtocolTest, AnswersPrefixesWithEveryPropertyAndRemovalsWithThePrefixItself) {
    store.set({{u"p/1", u"a", true}, {u"p/2", u"b", true}, {u"q", u"c", true}});
    EXPECT_EQ(
        ask(BREVANT_SETTINGS_GET_BATCH, uR"({"properties":[{"name":"p/","isPrefix":true}]})").payload,
        uR"({"responses":[{"name":"p/1","status":true,"value":"a"},{"name":"p/2","status":true,"value":"b"}]})");
    EXPECT_EQ(ask(BREVANT_SETTINGS_GET_BATCH, uR"({"properties":[{"name":"none","isPrefix":true}]})").payload,
              uR"({"responses":[]})");
    const auto removed =
        ask(BREVANT_SETTINGS_REMOVE_BATCH, uR"({"properties":[{"name":"p/","isPrefix":true}]})");
    EXPECT_EQ(removed.payload, uR"({"responses":[{"name":"p/","status":true}]})");
    EXPECT_EQ(removed.notices.size(), 4u);
    EXPECT_EQ(ask(BREVANT_SETTINGS_REMOVE_BATCH, uR"({"properties":[{"name":"","isPrefix":true}]})").payload,
              uR"({"responses":[{"name":"","status":false}]})");
    EXPECT_EQ(store.get(u"q"), u"c");
}

TEST_F(SettingsProtocolTest, AnswersNonsenseWithoutChangingAnything) {
    const std::u16string deep = std::u16string(100000, u'[');
    for (const std::u16string& payload :
         {std::u16string(), std::u16string(u"[]"), std::u16string(u"{\"name\":5}"),
          std::u16string(u"{\"properties\":[1]}"), deep}) {
        for (const auto topic : {BREVANT_SETTINGS_GET, BREVANT_SETTINGS_SET, BREVANT_SETTINGS_REMOVE}) {
            const auto answer = ask(topic, payload);
            EXPECT_EQ(answer.payload, uR"({"name":"","status":false})");
            EXPECT_FALSE(answer.understood);
        }
        for (const auto topic :
             {BREVANT_SETTINGS_GET_BATCH, BREVANT_SETTINGS_SET_BATCH, BREVANT_SETTINGS_REMOVE_BATCH})
            EXPECT_EQ(ask(topic, payload).payload, uR"({"responses":[]})");
    }
    EXPECT_TRUE(store.withPrefix(u"").empty());
}

TEST_F(SettingsProtocolTest, ARequestForTheSameValueOverAndOverIsNotAnsweredWithoutLimit) {
    store.set({{u"n", std::u16string(SettingsStore::maximumValue, u'v'), true}});
    std::u16string items;
    for (int item = 0; item < 100; ++item)
        items += (item ? u",{\"name\":\"n\"}" : u"{\"name\":\"n\"}");
    const auto answer = ask(BREVANT_SETTINGS_GET_BATCH, u"{\"properties\":[" + items + u"]}");
    EXPECT_LE(answer.payload.size(), 3 * SettingsStore::maximumUnits);
    EXPECT_TRUE(answer.payload.ends_with(uR"({"name":"n","status":false}]})"));
}

TEST_F(SettingsProtocolTest, TheServiceRepliesToTheRequesterAndTellsEverybodyOfChangesInTheirOrder) {
    SettingsService service(bus(), store);
    Recorder notices, replies;
    BusConnection client(bus(), u"SettingsManagerClient");
    ASSERT_TRUE(client.subscribePattern(u"SettingsManager\\.Notify\\..+", notices.handler()));
    ASSERT_TRUE(client.subscribePattern(u".+\\.Response", replies.handler()));
    const auto ask = [&](std::u16string_view topic, const std::u16string& payload) {
        return client.request(std::u16string(topic), payload, std::chrono::seconds(20));
    };
    for (const char16_t* value : {u"1", u"2", u"3"}) {
        const auto answer = ask(BREVANT_SETTINGS_SET, u"{\"name\":\"n\",\"value\":\"" +
                                                          std::u16string(value) + u"\",\"volatile\":true}");
        ASSERT_EQ(answer.status, MODULE_STATUS_SUCCESS);
        EXPECT_EQ(answer.message.name, u"SETTINGS_MANAGER_SET_PROPERTY.Response");
        EXPECT_EQ(answer.message.payload, uR"({"name":"n","status":true})");
    }
    ask(BREVANT_SETTINGS_REMOVE_BATCH, uR"({"properties":[{"name":"n","isPrefix":true}]})");
    const auto told = notices.take(4);
    ASSERT_EQ(told.size(), 4u);
    EXPECT_EQ(told[0].payload, uR"({"name":"n","value":"1"})");
    EXPECT_EQ(told[2].payload, uR"({"name":"n","value":"3"})");
    EXPECT_EQ(told[3].name, u"SettingsManager.Notify.Delete.n");
    EXPECT_TRUE(replies.take(0).empty()) << "values are for the requester alone";
}

}  // namespace
}  // namespace Host
