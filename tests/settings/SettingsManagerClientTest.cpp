#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <ranges>

#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

using namespace std::chrono_literals;
using Tavix::SettingsManager;
using Tavix::SettingsManagerClient;

using Texts = std::vector<std::u16string>;
using Results = SettingsManager::ResultMap;
using Values = SettingsManager::ValueMap;

// A settings manager that gives the same answer to every request.
class SettingsManagerClientTest : public testing::Test {
protected:
    SettingsManagerClientTest() { log.clear(); }

    void answer(const std::u16string& payload, uint32_t status = 0) {
        for (const Request& request : requests)
            bus.answer(request.topic, [=](const auto&) {
                return FakeBus::Answer{u"Reply", payload, status};
            });
    }
    void answerList(const std::u16string& items) { answer(uR"({"responses":[)" + items + u"]}"); }
    std::u16string lastPayload() const { return bus.requests().back().payload; }
    template <class T>
    T read(const std::u16string& text, T before, bool expected = true) {
        answer(uR"({"name":"n","status":true,"value":")" + text + u"\"}");
        EXPECT_EQ(settings.getProperty(u"n", before, 5s), expected) << testing::PrintToString(text);
        return before;
    }
    // What the client has logged since it was last asked for: warnings, and errors with a mark.
    Texts logged() {
        Texts texts;
        for (const auto& record : log.records()) {
            if (record.source == u"SettingsManagerClient")
                texts.push_back((record.level == 2 ? u"" : u"! ") + record.message);
        }
        log.clear();
        return texts;
    }

    LogCapture log;
    FakeBus bus;
    SettingsManagerClient settings{bus.makeClient()};
    std::u16string value = u"kept";
    Values values;
    // Every kind of request for the property "n", and what its log calls it. True when it was successful.
    const struct Request {
        std::u16string topic, what;
        std::function<bool()> make;
    } requests[7] = {
        {u"SETTINGS_MANAGER_GET_PROPERTY", u"get property",
         [this] { return settings.getProperty(u"n", value, 5s); }},
        {u"SETTINGS_MANAGER_SET_PROPERTY", u"set property",
         [this] { return settings.setProperty(u"n", u"v", 5s); }},
        {u"SETTINGS_MANAGER_REMOVE_PROPERTY", u"remove property",
         [this] { return settings.removeProperty(u"n", 5s); }},
        {u"SettingsManager.GetProperties.Request", u"get properties",
         [this] { return settings.getProperties({u"n"}, values, 5s).at(u"n"); }},
        {u"SettingsManager.SetProperties.Request", u"set properties",
         [this] {
             return settings.setProperties({{u"n", u"v"}}, 5s).at(u"n");
         }},
        {u"SettingsManager.RemoveProperties.Request", u"remove properties",
         [this] { return settings.removeProperties({u"n"}, 5s).at(u"n"); }},
        {u"SettingsManager.RemoveProperties.Request", u"remove properties by prefix",
         [this] { return settings.removePropertiesByPrefix(std::u16string(u"n"), 5s); }},
    };
    static constexpr size_t firstOfLists = 3;
};

TEST_F(SettingsManagerClientTest, SetsEveryTypeAsText) {
    answer(uR"({"name":"n","status":true})");
    const auto sets = [&](auto given, const std::u16string& text, const std::u16string& passing) {
        EXPECT_TRUE(settings.setProperty(u"n", given, 5s));
        EXPECT_EQ(lastPayload(), uR"({"name":"n","value":")" + text + uR"(","volatile":false})");
        EXPECT_TRUE(settings.setVolatileProperty(u"n", given, 1234ms));
        EXPECT_EQ(lastPayload(), uR"({"name":"n","value":")" + passing + uR"(","volatile":true})");
    };
    const auto both = [&](auto given, const std::u16string& text) { sets(given, text, text); };
    sets(1.5, u"1.5", u"1.500000");
    both(std::numeric_limits<uint64_t>::max(), u"18446744073709551615");
    both(Tavix::UnsignedLong{7}, u"7");
    both(std::numeric_limits<int64_t>::min(), u"-9223372036854775808");
    both(int32_t{-5}, u"-5");
    both(true, u"1");
    both(false, u"0");
    both(static_cast<const char16_t*>(nullptr), u"");
    both(std::u16string(u"\""), u"\\\"");
    const FakeBus::Sent last = bus.requests().back();
    EXPECT_EQ(last.sender, u"SettingsManagerClient");
    EXPECT_EQ(last.timeout, 1234u);
}

TEST_F(SettingsManagerClientTest, GetsEveryTypeFromTextAndLeavesTheValueWhenItDoesNotConvert) {
    EXPECT_EQ(read(u"text", std::u16string()), u"text");
    EXPECT_EQ(lastPayload(), uR"({"name":"n"})");
    EXPECT_EQ(read(u"2.5e1x", 0.0), 25.0);
    EXPECT_EQ(read(u"18446744073709551615", uint64_t{}), std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(read(u"9", Tavix::UnsignedLong{}), Tavix::UnsignedLong{9});
    EXPECT_EQ(read(u"-9223372036854775808", int64_t{}), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(read(u" 12abc", int32_t{}), 12);
    EXPECT_EQ(read(u"2", false), true);
    EXPECT_EQ(logged(), Texts{});

    EXPECT_TRUE(read(u"true", true, false));
    EXPECT_EQ(read(u"", 7.5, false), 7.5);
    EXPECT_EQ(log.records().back().function, u"Tavix::SettingsManagerClient::Impl::tryConvert");
    EXPECT_EQ(logged(), Texts(2, u"Conversion failed due to invalid arguments."));
    EXPECT_EQ(read(u"3000000000", int32_t{7}, false), 7);
    EXPECT_EQ(read(u"4294967296", uint32_t{7}, false), 7u);
    EXPECT_EQ(logged(), Texts(2, u"Conversion failed, out of range for destination type."));
}

TEST_F(SettingsManagerClientTest, FailsRequestsThatAreRefusedOrBadlyAnswered) {
    const std::u16string noJson = u"Failed to parse settings manager response message. Returning.";
    const struct {
        std::u16string reply, failure;  // of each of the three
    } cases[]{
        {u"{", noJson},
        {u"[]", noJson},
        {uR"({"status":true,"value":"v"})", u"Failed to read settings manager response property name."},
        {uR"({"name":"N","status":true,"value":"v"})",
         u"Response property name (N) does not match expected property name (n)."},
        {uR"({"name":"n","status":1,"value":"v"})", u"Failed to read settings manager response status."},
    };
    const auto fail = [&](const std::u16string& reply) {
        answer(reply);
        for (const Request& single : requests | std::views::take(firstOfLists))
            EXPECT_FALSE(single.make());
        return logged();
    };
    for (const auto& [reply, failure] : cases) {
        EXPECT_EQ(fail(reply), Texts(3, failure));
        EXPECT_EQ(settings.hasProperty(u"n", 5s), std::nullopt);
        EXPECT_EQ(logged(), Texts{failure});
    }
    fail(uR"({"name":"n","status":false,"value":"v"})");
    EXPECT_EQ(settings.hasProperty(u"n", 5s), false);
    answer(uR"({"name":"n","status":true})");
    EXPECT_FALSE(settings.getProperty(u"n", value, 5s));
    EXPECT_EQ(value, u"kept");
    EXPECT_TRUE(settings.removeProperty(u"n", 5s));
    EXPECT_EQ(lastPayload(), uR"({"name":"n"})");

    // Lists without the list, or with something else in it.
    for (const std::u16string list : {u"{}", uR"({"responses":{}})", uR"({"responses":[1]})"}) {
        answer(list);
        for (const Request& request : requests | std::views::drop(firstOfLists))
            EXPECT_FALSE(request.make());
    }
    EXPECT_FALSE(settings.getPropertiesByPrefix(std::u16string(u"n"), values, 5s));
    answer(u"{}");
    EXPECT_TRUE(settings.getPropertiesByPrefix(std::u16string(u"n"), values, 5s));
    EXPECT_TRUE(values.empty());
}

TEST_F(SettingsManagerClientTest, LogsWhyNoReplyCame) {
    for (const Request& request : requests) {
        EXPECT_FALSE(request.make());
        EXPECT_EQ(logged().at(0), u"Failed to make " + request.what +
                                      u" request. Error code: MODULE_STATUS_NO_SUBSCRIBERS(2147483662)");
    }
    for (const auto& [status, text] :
         {std::pair(MODULE_STATUS_TIMEOUT, u" request timed out. Returning."),
          {MODULE_STATUS_DATA_ERROR, u" request failed with DATA_ERROR. Returning."}}) {
        answer(u"", status);
        for (const Request& request : requests) {
            EXPECT_FALSE(request.make());
            EXPECT_EQ(bus.requests().back().name, request.topic);
            EXPECT_TRUE(logged().at(0).ends_with(text));
        }
    }
}

TEST_F(SettingsManagerClientTest, GetsABatchByNamesOrByPrefixes) {
    answerList(
        uR"({"name":"a","status":true,"value":"1"},{"status":true,"value":"x"},)"
        uR"({"name":"A","status":true,"value":"x"},{"name":"b","status":false},)"
        uR"({"name":"c","status":true},{"name":"d","value":"x"},{"name":"a","status":true,"value":"2"})");
    values = {{u"old", u"o"}};
    EXPECT_EQ(settings.getProperties({u"a", u"b", u"a", u"c", u"d"}, values, 5s),
              (Results{{u"a", true}, {u"b", false}, {u"c", false}, {u"d", false}}));
    EXPECT_EQ(values, (Values{{u"old", u"o"}, {u"a", u"2"}}));
    EXPECT_EQ(lastPayload(),
              uR"({"properties":[{"name":"a"},{"name":"b"},{"name":"a"},{"name":"c"},{"name":"d"}]})");
    // Under the names that come.
    EXPECT_TRUE(settings.getPropertiesByPrefix(Texts{u"p/", u"q"}, values, 5s));
    EXPECT_EQ(values, (Values{{u"old", u"o"}, {u"a", u"2"}, {u"A", u"x"}}));
    EXPECT_EQ(lastPayload(),
              uR"({"properties":[{"name":"p/","isPrefix":true},{"name":"q","isPrefix":true}]})");
}

TEST_F(SettingsManagerClientTest, SetsAndRemovesABatchInItsOrder) {
    answerList(
        uR"({"name":"b","status":true},{"name":"a","status":false},{"status":true},)"
        uR"({"name":"x","status":true},{"name":"c"})");
    const Results results{{u"a", false}, {u"b", true}, {u"c", false}};
    EXPECT_EQ(settings.setProperties({{u"c", u"1"}, {u"a", u"2"}, {u"b", u"3"}}, 5s), results);
    EXPECT_EQ(lastPayload(),
              uR"({"properties":[{"name":"c","value":"1","volatile":false},)"
              uR"({"name":"a","value":"2","volatile":false},)"
              uR"({"name":"b","value":"3","volatile":false}]})");
    settings.setVolatileProperties({{u"a", u"1"}}, 5s);
    EXPECT_EQ(lastPayload(), uR"({"properties":[{"name":"a","value":"1","volatile":true}]})");
    EXPECT_EQ(settings.removeProperties({u"b", u"a", u"c"}, 5s), results);
    EXPECT_EQ(lastPayload(), uR"({"properties":[{"name":"b"},{"name":"a"},{"name":"c"}]})");
    EXPECT_EQ(settings.removePropertiesByPrefix(Texts{u"b", u"q"}, 5s),
              (Results{{u"b", true}, {u"q", false}, {u"a", false}, {u"x", true}}));
    EXPECT_EQ(lastPayload(),
              uR"({"properties":[{"name":"b","isPrefix":true},{"name":"q","isPrefix":true}]})");
    EXPECT_TRUE(settings.removePropertiesByPrefix(std::u16string(u"b"), 5s));
    EXPECT_FALSE(settings.removePropertiesByPrefix(std::u16string(u"q"), 5s));

    answerList(uR"({"name":"b","status":false},{"name":"b","status":true},{"name":"b","status":false})");
    EXPECT_TRUE(settings.setProperties({{u"b", u"1"}}, 5s).at(u"b"));
    EXPECT_TRUE(settings.removeProperties({u"b"}, 5s).at(u"b"));
    EXPECT_FALSE(settings.removePropertiesByPrefix(Texts{u"b"}, 5s).at(u"b"));
}

TEST(SettingsManagerClientInstance, IsNullAndLoggedWithoutABusLibrary) {
    LogCapture log;
    EXPECT_EQ(SettingsManagerClient::getInstance(), nullptr);
    EXPECT_TRUE(
        log.records().back().message.starts_with(u"Failed to create settings manager client. Caught "));
}

}  // namespace
