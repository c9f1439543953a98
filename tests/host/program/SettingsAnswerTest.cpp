#include <brevant/settings.h>

#include "host/program/HostFixture.h"
#include "host/program/settings/SettingsAnswer.h"
#include "host/program/settings/SettingsService.h"

namespace Host {
namespace {

using Lines = std::vector<std::u16string>;

constexpr auto get = BREVANT_SETTINGS_GET, set = BREVANT_SETTINGS_SET, remove = BREVANT_SETTINGS_REMOVE;
constexpr auto getMany = BREVANT_SETTINGS_GET_BATCH, setMany = BREVANT_SETTINGS_SET_BATCH,
               removeMany = BREVANT_SETTINGS_REMOVE_BATCH;

class SettingsAnswerTest : public HostTest {
protected:
    SettingsStore store{inFolder(u"settings.json")};

    // The answer, then what everybody is told.
    Lines ask(std::u16string_view topic, const std::u16string& payload, bool understood = true) {
        const SettingsAnswer answer = answerSettingsRequest(store, topic, payload);
        EXPECT_EQ(answer.understood, understood);
        Lines lines{answer.payload};
        for (const SettingsNotice& notice : answer.notices)
            lines.push_back(notice.name + u" " + notice.payload);
        return lines;
    }
};

TEST_F(SettingsAnswerTest, AnswersSingleRequestsInTheShapeOfTheProtocol) {
    for (int time = 0; time < 2; ++time)  // the same value again is announced again
        EXPECT_EQ(
            ask(set, uR"({"name":"a.b","value":"1","volatile":false})"),
            (Lines{uR"({"name":"a.b","status":true})", uR"(SETTINGS_MANAGER_PROPERTY_SET {"name":"a.b"})",
                   uR"(SettingsManager.Notify.Set.a.b {"name":"a.b","value":"1"})"}));
    EXPECT_EQ(ask(get, uR"({"name":"a.b"})"), Lines{uR"({"name":"a.b","status":true,"value":"1"})"});
    EXPECT_EQ(ask(get, uR"({"name":"A.B"})"), Lines{uR"({"name":"A.B","status":false})"});
    EXPECT_EQ(
        ask(remove, uR"({"name":"a.b"})"),
        (Lines{uR"({"name":"a.b","status":true})", uR"(SETTINGS_MANAGER_PROPERTY_REMOVED {"name":"a.b"})",
               uR"(SettingsManager.Notify.Delete.a.b {"name":"a.b"})"}));
    EXPECT_EQ(ask(remove, uR"({"name":"a.b"})"), Lines{uR"({"name":"a.b","status":false})"});
}

TEST_F(SettingsAnswerTest, AnswersBatchesItemByItem) {
    const Lines answers = ask(setMany,
                              uR"({"properties":[{"name":"a","value":"1","volatile":true},{"name":"b"},)"
                              uR"({"name":"","value":"3","volatile":true},{"name":"c","value":"3"}]})",
                              false);
    EXPECT_EQ(answers.size(), 5u);
    EXPECT_EQ(answers[0],
              uR"({"responses":[{"name":"b","status":false},{"name":"a","status":true},)"
              uR"({"name":"","status":false},{"name":"c","status":true}]})");
    EXPECT_EQ(ask(getMany, uR"({"properties":[{"name":"a"},{"name":"x"},{"name":"a"}]})"),
              Lines{uR"({"responses":[{"name":"a","status":true,"value":"1"},{"name":"x","status":false},)"
                    uR"({"name":"a","status":true,"value":"1"}]})"});
    EXPECT_EQ(ask(removeMany, uR"({"properties":[{"name":"a"},{"name":"x"}]})"),
              (Lines{uR"({"responses":[{"name":"a","status":true},{"name":"x","status":false}]})",
                     uR"(SETTINGS_MANAGER_PROPERTY_REMOVED {"name":"a"})",
                     uR"(SettingsManager.Notify.Delete.a {"name":"a"})"}));
}

TEST_F(SettingsAnswerTest, AnswersPrefixesWithEveryPropertyAndRemovalsWithThePrefixItself) {
    store.set({{u"p0", u"c"}, {u"p/2", u"b", true}, {u"p/1", u"a"}, {u"a", u"d", true}});
    const auto prefixed = [](const std::u16string& prefix) {
        return uR"({"properties":[{"name":")" + prefix + uR"(","isPrefix":true}]})";
    };
    EXPECT_EQ(ask(getMany, prefixed(u"p/")),
              Lines{uR"({"responses":[{"name":"p/1","status":true,"value":"a"},)"
                    uR"({"name":"p/2","status":true,"value":"b"}]})"});
    EXPECT_EQ(ask(getMany, prefixed(u"none")), Lines{uR"({"responses":[]})"});
    const Lines removed = ask(removeMany, prefixed(u"p/"));
    EXPECT_EQ(removed[0], uR"({"responses":[{"name":"p/","status":true}]})");
    EXPECT_EQ(removed.size(), 5u);
    EXPECT_EQ(ask(removeMany, prefixed(u"")), Lines{uR"({"responses":[{"name":"","status":false}]})"});
    EXPECT_EQ(store.withPrefix(u"").size(), 2u);
}

TEST_F(SettingsAnswerTest, AnswersNonsenseWithoutChangingAnything) {
    for (const std::u16string& payload :
         Lines{u"", u"[]", u"{\"name\":5}", u"{\"properties\":[1]}", std::u16string(100000, u'[')}) {
        for (const auto topic : {get, set, remove})
            EXPECT_EQ(ask(topic, payload, false), Lines{uR"({"name":"","status":false})"});
        for (const auto topic : {getMany, setMany, removeMany})
            EXPECT_EQ(answerSettingsRequest(store, topic, payload).payload, uR"({"responses":[]})");
    }
    EXPECT_TRUE(store.withPrefix(u"").empty());
}

TEST_F(SettingsAnswerTest, ARequestForTheSameValueOverAndOverIsNotAnsweredWithoutLimit) {
    store.set({{u"n", std::u16string(SettingsStore::maximumValue, u'v'), true}});
    std::u16string items;
    for (int item = 0; item < 100; ++item)
        items += (item ? u",{\"name\":\"n\"}" : u"{\"name\":\"n\"}");
    const std::u16string answer = ask(getMany, u"{\"properties\":[" + items + u"]}")[0];
    EXPECT_EQ(answer.size() / SettingsStore::maximumValue, 23u) << "what else is asked for is left out";
    EXPECT_TRUE(answer.ends_with(u"v\"}]}"));
}

TEST_F(SettingsAnswerTest, TheServiceRepliesToTheRequesterAndTellsEverybodyOfChangesInTheirOrder) {
    SettingsService service(bus(), store);
    const Recorder notices(u"SettingsManager\\.Notify\\..+"), replies(u".+\\.Response");
    BusConnection client(bus(), u"SettingsManagerClient");
    const auto send = [&](const std::u16string& topic, const std::u16string& payload) {
        return client.request(topic, payload, std::chrono::seconds(20)).message;
    };
    for (const std::u16string value : {u"1", u"2", u"3"}) {
        const ReceivedMessage answer =
            send(set, uR"({"name":"n","volatile":true,"value":")" + value + u"\"}");
        EXPECT_EQ(answer.name, u"SETTINGS_MANAGER_SET_PROPERTY.Response");
        EXPECT_EQ(answer.payload, uR"({"name":"n","status":true})");
    }
    send(removeMany, uR"({"properties":[{"name":"n","isPrefix":true}]})");
    Lines told;
    for (const auto& notice : notices.all(4))
        told.push_back(notice.name.substr(23) + u" " + notice.payload);
    EXPECT_EQ(told, (Lines{uR"(Set.n {"name":"n","value":"1"})", uR"(Set.n {"name":"n","value":"2"})",
                           uR"(Set.n {"name":"n","value":"3"})", uR"(Delete.n {"name":"n"})"}));
    EXPECT_TRUE(replies.all().empty()) << "values are for the requester alone";
}

}  // namespace
}  // namespace Host
