#include <gtest/gtest.h>
#include <limits>

#include "json/JSONFormatter.h"
#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

using namespace std::chrono_literals;
using Tavix::SettingsManager;
using Tavix::SettingsManagerClient;

using Names = std::vector<std::u16string>;
using Results = SettingsManager::ResultMap;
using Values = SettingsManager::ValueMap;

constexpr uint32_t warning = 2, error = 4;

constexpr char16_t getTopic[] = u"SETTINGS_MANAGER_GET_PROPERTY";
constexpr char16_t setTopic[] = u"SETTINGS_MANAGER_SET_PROPERTY";
constexpr char16_t removeTopic[] = u"SETTINGS_MANAGER_REMOVE_PROPERTY";
constexpr char16_t getListTopic[] = u"SettingsManager.GetProperties.Request";
constexpr char16_t setListTopic[] = u"SettingsManager.SetProperties.Request";
constexpr char16_t removeListTopic[] = u"SettingsManager.RemoveProperties.Request";

// A settings manager that gives the same answer to every request of a topic.
class SettingsManagerClientTest : public testing::Test {
protected:
    SettingsManagerClientTest() { log.clear(); }

    void answer(const std::u16string& topic, const std::u16string& payload, uint32_t status = 0) {
        bus.answer(topic, [=](const FakeBus::Sent&) {
            return FakeBus::Answer{topic + u".Reply", payload, status};
        });
    }
    // Answers a get of the property "n".
    void store(const std::u16string& value) {
        Tavix::JSONFormatter reply;
        reply.setString(u"name", u"n");
        reply.setBool(u"status", true);
        reply.setString(u"value", value);
        answer(getTopic, reply.toString());
    }
    std::u16string lastPayload() const { return bus.requests().back().payload; }
    template <class T>
    T read(const std::u16string& text, T value, bool expected = true) {
        store(text);
        EXPECT_EQ(settings.getProperty(u"n", value, 5s), expected) << testing::PrintToString(text);
        return value;
    }

    LogCapture log;
    FakeBus bus;
    SettingsManagerClient settings{bus.makeClient()};
};

TEST_F(SettingsManagerClientTest, SetsEveryTypeAsText) {
    answer(setTopic, u"{\"name\":\"n\",\"status\":true}");
    const auto sent = [&](bool done, const std::u16string& value, bool isVolatile) {
        EXPECT_TRUE(done);
        EXPECT_EQ(lastPayload(), u"{\"name\":\"n\",\"value\":\"" + value + u"\",\"volatile\":" +
                                     (isVolatile ? u"true}" : u"false}"));
    };
    const auto kept = [&](auto value, const std::u16string& text) {
        sent(settings.setProperty(u"n", value, 5s), text, false);
    };
    const auto passing = [&](auto value, const std::u16string& text) {
        sent(settings.setVolatileProperty(u"n", value, 1234ms), text, true);
    };
    const auto both = [&](auto value, const std::u16string& text) {
        kept(value, text);
        passing(value, text);
    };
    kept(0.1, u"0.1");
    kept(1.5, u"1.5");
    kept(1e300, u"1e+300");
    passing(1.5, u"1.500000");
    both(std::numeric_limits<uint32_t>::max(), u"4294967295");
    both(std::numeric_limits<uint64_t>::max(), u"18446744073709551615");
    both(Tavix::UnsignedLong{7}, u"7");
    both(std::numeric_limits<int64_t>::min(), u"-9223372036854775808");
    both(int32_t{-5}, u"-5");
    both(true, u"1");
    both(false, u"0");
    both(u"text", u"text");
    both(static_cast<const char16_t*>(nullptr), u"");
    both(std::u16string(u"\""), u"\\\"");
    const FakeBus::Sent last = bus.requests().back();
    EXPECT_EQ(last.sender, u"SettingsManagerClient");
    EXPECT_EQ(last.timeout, 1234u);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(SettingsManagerClientTest, GetsEveryTypeFromText) {
    EXPECT_EQ(read(u"text", std::u16string()), u"text");
    EXPECT_EQ(lastPayload(), u"{\"name\":\"n\"}");
    EXPECT_EQ(read(u"2.5e1x", 0.0), 25.0);
    EXPECT_EQ(read(u"4294967295", uint32_t{}), 4294967295u);
    EXPECT_EQ(read(u"18446744073709551615", uint64_t{}), std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(read(u"9", Tavix::UnsignedLong{}), Tavix::UnsignedLong{9});
    EXPECT_EQ(read(u"-9223372036854775808", int64_t{}), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(read(u" 12abc", int32_t{}), 12);
    EXPECT_EQ(read(u"2", false), true);
    EXPECT_EQ(read(u"0", true), false);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(SettingsManagerClientTest, LeavesTheValueWhenTheTextDoesNotConvert) {
    EXPECT_TRUE(read(u"true", true, false));
    EXPECT_EQ(read(u"", 7.5, false), 7.5);
    EXPECT_EQ(log.count(warning, u"Conversion failed due to invalid arguments."), 2u);
    EXPECT_EQ(read(u"3000000000", int32_t{7}, false), 7);
    EXPECT_EQ(read(u"4294967296", uint32_t{7}, false), 7u);
    EXPECT_EQ(log.count(warning, u"Conversion failed, out of range for destination type."), 2u);
    EXPECT_EQ(log.records()[0].function, u"Tavix::SettingsManagerClient::Impl::tryConvert");
    EXPECT_EQ(log.records()[0].source, u"SettingsManagerClient");
}

TEST_F(SettingsManagerClientTest, FailsSingleRequestsThatAreRefusedOrBadlyAnswered) {
    struct Case {
        const char16_t* reply;
        const char16_t* set;
        const char16_t* get;
        const char16_t* remove;
    };
    const char16_t noStatus[] = u"Failed to read settings manager response status.";
    const char16_t noName[] = u"Failed to read settings manager response property name.";
    const char16_t noJson[] = u"Failed to parse settings manager response message. Returning.";
    const char16_t otherName[] = u"Response property name (N) does not match expected property name (n).";
    for (const Case& c : {
             Case{u"{", noJson, noJson, noJson},
             Case{u"[]", noJson, noJson, noJson},
             Case{u"{\"status\":true,\"value\":\"v\"}", noName, noName, noName},
             Case{u"{\"name\":\"N\",\"status\":true,\"value\":\"v\"}", otherName, otherName, otherName},
             Case{u"{\"name\":\"n\",\"status\":1,\"value\":\"v\"}", noStatus, noStatus, noStatus},
             Case{u"{\"name\":\"n\",\"status\":false,\"value\":\"v\"}",
                  u"Settings Manager failed to set property value.", nullptr,
                  u"Settings Manager failed to remove property."},
         }) {
        const auto fails = [&](bool result, const char16_t* text) {
            EXPECT_FALSE(result);
            EXPECT_EQ(log.records().size(), text ? 1u : 0u) << testing::PrintToString(c.reply);
            EXPECT_TRUE(!text || log.has(warning, text)) << testing::PrintToString(text);
            log.clear();
        };
        std::u16string value = u"kept";
        for (const auto topic : {setTopic, getTopic, removeTopic})
            answer(topic, c.reply);
        fails(settings.setProperty(u"n", true, 5s), c.set);
        fails(settings.getProperty(u"n", value, 5s), c.get);
        fails(settings.removeProperty(u"n", 5s), c.remove);
        EXPECT_EQ(value, u"kept");
    }
    std::u16string value;
    answer(getTopic, u"{\"name\":\"n\",\"status\":true}");
    EXPECT_FALSE(settings.getProperty(u"n", value, 5s));
    EXPECT_TRUE(log.has(warning, u"Failed to read settings manager response value."));
    answer(removeTopic, u"{\"name\":\"n\",\"status\":true}");
    EXPECT_TRUE(settings.removeProperty(u"n", 5s));
    EXPECT_EQ(lastPayload(), u"{\"name\":\"n\"}");
}

TEST_F(SettingsManagerClientTest, LogsWhyNoReplyCame) {
    std::u16string value;
    Values values;
    EXPECT_FALSE(settings.getProperty(u"n", value, 5s));
    EXPECT_FALSE(settings.setProperty(u"n", 1.0, 5s));
    EXPECT_FALSE(settings.removeProperty(u"n", 5s));
    EXPECT_EQ(settings.getProperties({u"n"}, values, 5s), (Results{{u"n", false}}));
    EXPECT_EQ(settings.setProperties({{u"n", u"v"}}, 5s), (Results{{u"n", false}}));
    EXPECT_EQ(settings.removeProperties({u"n"}, 5s), (Results{{u"n", false}}));
    EXPECT_FALSE(settings.removePropertiesByPrefix(std::u16string(u"n"), 5s));
    for (const std::u16string what :
         {u"get property", u"set property", u"remove property", u"get properties", u"set properties",
          u"remove properties", u"remove properties by prefix"})
        EXPECT_TRUE(log.has(warning, u"Failed to make " + what +
                                         u" request. Error code: MODULE_STATUS_NO_SUBSCRIBERS(2147483662)"))
            << testing::PrintToString(what);
    EXPECT_TRUE(log.has(error, u"Failed to set properties. Unable to make request."));

    log.clear();
    for (const auto topic : {getTopic, getListTopic})
        answer(topic, u"", 0x8000000D);
    EXPECT_FALSE(settings.getProperty(u"n", value, 5s));
    EXPECT_FALSE(settings.getPropertiesByPrefix(std::u16string(u"n"), values, 5s));
    EXPECT_TRUE(log.has(warning, u"Property request timed out. Returning."));
    EXPECT_TRUE(log.has(warning, u"Property list request timed out. Returning."));

    for (const auto topic : {getTopic, removeListTopic})
        answer(topic, u"", 0x80000002);
    EXPECT_FALSE(settings.getProperty(u"n", value, 5s));
    settings.removeProperties({u"n"}, 5s);
    EXPECT_TRUE(log.has(warning, u"Property request failed with DATA_ERROR. Returning."));
    EXPECT_TRUE(log.has(warning, u"Property list request failed with DATA_ERROR. Returning."));
    EXPECT_TRUE(log.has(warning,
                        u"Failed to parse remove properties response. Error code: MODULE_STATUS_SUCCESS(0)"));
}

TEST_F(SettingsManagerClientTest, GetsABatchByNames) {
    answer(getListTopic,
           u"{\"responses\":[{\"name\":\"a\",\"status\":true,\"value\":\"1\"},{\"value\":\"x\"},"
           u"{\"name\":\"A\",\"status\":true,\"value\":\"x\"},{\"name\":\"b\",\"status\":false},"
           u"{\"name\":\"c\",\"status\":true},{\"name\":\"d\",\"value\":\"x\"},"
           u"{\"name\":\"a\",\"status\":true,\"value\":\"2\"}]}");
    Values values{{u"old", u"o"}};
    EXPECT_EQ(settings.getProperties({u"a", u"b", u"a", u"c", u"d"}, values, 5s),
              (Results{{u"a", true}, {u"b", false}, {u"c", false}, {u"d", false}}));
    EXPECT_EQ(values, (Values{{u"old", u"o"}, {u"a", u"2"}}));
    EXPECT_EQ(lastPayload(),
              u"{\"properties\":[{\"name\":\"a\"},{\"name\":\"b\"},{\"name\":\"a\"},{\"name\":\"c\"},"
              u"{\"name\":\"d\"}]}");
    EXPECT_EQ(log.records().size(), 4u);
    EXPECT_TRUE(log.has(warning, u"Failed to read settings property response name."));
    EXPECT_TRUE(log.has(warning, u"Received an unexpected setting property. Name: A."));
    EXPECT_TRUE(log.has(warning, u"Failed to read settings manager response value."));
    EXPECT_TRUE(log.has(warning, u"Failed to read settings manager response status."));

    for (const std::u16string reply : {u"{\"responses\":{}}",
                                       u"{\"responses\":[{\"name\":\"a\",\"status\":true,"
                                       u"\"value\":\"3\"},1]}",
                                       u"{}"}) {
        answer(getListTopic, reply);
        EXPECT_EQ(settings.getProperties({u"a"}, values, 5s), (Results{{u"a", false}}));
    }
    EXPECT_EQ(values[u"a"], u"2");
}

TEST_F(SettingsManagerClientTest, GetsABatchByPrefixUnderTheNamesThatCome) {
    answer(getListTopic,
           u"{\"responses\":[{\"name\":\"p/1\",\"status\":true,\"value\":\"1\"},{\"status\":true},"
           u"{\"name\":\"other\",\"status\":true,\"value\":\"2\"},{\"name\":\"p/3\",\"status\":false}]}");
    Values values;
    EXPECT_TRUE(settings.getPropertiesByPrefix(Names{u"p/", u"q"}, values, 5s));
    EXPECT_EQ(values, (Values{{u"p/1", u"1"}, {u"other", u"2"}}));
    EXPECT_EQ(lastPayload(),
              u"{\"properties\":[{\"name\":\"p/\",\"isPrefix\":true},{\"name\":\"q\",\"isPrefix\":true}]}");
    ASSERT_EQ(log.records().size(), 1u);
    EXPECT_EQ(log.records()[0].message, u"Failed to read settings property response name. Skipping");
    EXPECT_EQ(log.records()[0].function, u"Tavix::SettingsManagerClient::getPropertiesByPrefix");
    answer(getListTopic, u"{}");
    EXPECT_TRUE(settings.getPropertiesByPrefix(std::u16string(u"p/"), values, 5s));
    answer(getListTopic, u"{\"responses\":1}");
    EXPECT_FALSE(settings.getPropertiesByPrefix(std::u16string(u"p/"), values, 5s));
}

TEST_F(SettingsManagerClientTest, SetsABatchInItsOrder) {
    answer(setListTopic,
           u"{\"responses\":[{\"name\":\"b\",\"status\":true},{\"name\":\"a\",\"status\":false},"
           u"{\"status\":true},{\"name\":\"x\",\"status\":true},{\"name\":\"c\"}]}");
    EXPECT_EQ(settings.setProperties({{u"c", u"1"}, {u"a", u"2"}, {u"b", u"3"}}, 5s),
              (Results{{u"a", false}, {u"b", true}, {u"c", false}}));
    EXPECT_EQ(lastPayload(),
              u"{\"properties\":[{\"name\":\"c\",\"value\":\"1\",\"volatile\":false},"
              u"{\"name\":\"a\",\"value\":\"2\",\"volatile\":false},"
              u"{\"name\":\"b\",\"value\":\"3\",\"volatile\":false}]}");
    for (const std::u16string_view text :
         {u"Failed to read settings property response name.",
          u"Received unexpected setting property response. Name: x.",
          u"Failed to read settings manager response status. Property Name: c",
          u"Settings Manager failed to set property value. Property Name: a"})
        EXPECT_TRUE(log.has(warning, text)) << testing::PrintToString(text);
    settings.setVolatileProperties({{u"a", u"1"}}, 5s);
    EXPECT_EQ(lastPayload(), u"{\"properties\":[{\"name\":\"a\",\"value\":\"1\",\"volatile\":true}]}");
    answer(setListTopic, u"{\"responses\":true}");
    settings.setProperties({{u"a", u"1"}}, 5s);
    EXPECT_TRUE(log.has(error, u"Failed to set properties. Unable to parse responses."));
}

TEST_F(SettingsManagerClientTest, RemovesABatchByNamesOrPrefixes) {
    answer(removeListTopic,
           u"{\"responses\":[{\"name\":\"p\",\"status\":true},{\"name\":\"a\",\"status\":false},"
           u"{\"status\":true},{\"name\":\"x\",\"status\":true},{\"name\":\"c\"}]}");
    EXPECT_EQ(settings.removeProperties({u"p", u"a", u"c"}, 5s),
              (Results{{u"p", true}, {u"a", false}, {u"c", false}}));
    EXPECT_EQ(lastPayload(), u"{\"properties\":[{\"name\":\"p\"},{\"name\":\"a\"},{\"name\":\"c\"}]}");
    for (const std::u16string_view text :
         {u"Failed to read settings property response name.",
          u"Received unexpected setting property. Name: x.",
          u"Failed to read settings manager response status. Property Name: c",
          u"Settings Manager failed to remove property. Property Name: a"})
        EXPECT_TRUE(log.has(warning, text)) << testing::PrintToString(text);
    EXPECT_EQ(settings.removePropertiesByPrefix(Names{u"p", u"q"}, 5s),
              (Results{{u"p", true}, {u"q", false}, {u"a", false}, {u"x", true}}));
    EXPECT_EQ(lastPayload(),
              u"{\"properties\":[{\"name\":\"p\",\"isPrefix\":true},{\"name\":\"q\",\"isPrefix\":true}]}");
    EXPECT_TRUE(settings.removePropertiesByPrefix(std::u16string(u"p"), 5s));
    EXPECT_FALSE(settings.removePropertiesByPrefix(std::u16string(u"q"), 5s));
    answer(removeListTopic, u"{\"responses\":[1]}");
    settings.removeProperties({u"p"}, 5s);
    EXPECT_TRUE(log.has(error, u"Failed to parse statuses from remove properties response."));
}

TEST(SettingsManagerClientInstance, IsNullAndLoggedWithoutABusLibrary) {
    LogCapture log;
    EXPECT_EQ(SettingsManagerClient::getInstance(), nullptr);
    ASSERT_FALSE(log.records().empty());
    const LogCapture::Record last = log.records().back();
    EXPECT_EQ(last.level, error);
    EXPECT_TRUE(last.message.starts_with(
        u"Failed to create settings manager client. Caught ModuleException - what: "));
    EXPECT_EQ(last.function, u"Tavix::SettingsManagerClient::getInstance");
}

}  // namespace
