#include <gtest/gtest.h>
#include <map>
#include <type_traits>

#include "json/JSONFormatter.h"
#include "processing/description/AlertInfo.h"

namespace {

using Vok::AlertInfo;
using Vok::AlertSource;

using Members = std::map<std::u16string, std::u16string>;

// A full description with some members replaced by other JSON text, or left out for an empty one.
std::u16string description(const Members& changes = {}) {
    const std::pair<std::u16string, std::u16string> members[] = {
        {u"id", u"\"firewall\""},
        {u"instanceId", u"\"17\""},
        {u"priority", u"\"P2\""},
        {u"product", u"\"Guard\""},
        {u"content", u"\"<b>\\\"hi\\\"</b>\""},
        {u"timeout", u"45"},
        {u"sessionId", u"4294967295"},
        {u"source", u"\"web\""},
        {u"forcePreferredViewer", u"true"},
        {u"preferredViewer", u"[\"toast\", \"tray\"]"},
        {u"context", u"{ \"title\" : \"T\", \"x\":[1.5, {}] }"},
    };
    std::u16string text = u"{ \"unknown\" : [ 1 ]";
    for (const auto& [name, value] : members) {
        const auto change = changes.find(name);
        const std::u16string& used = change == changes.end() ? value : change->second;
        if (!used.empty())
            text += u", \"" + name + u"\" : " + used;
    }
    return text + u"}";
}

bool accepted(const Members& changes) {
    return AlertInfo().fromJson(description(changes));
}

TEST(AlertInfo, IsReadFromADescriptionAndWrittenInItsOwnForm) {
    AlertInfo info;
    ASSERT_TRUE(info.fromJson(description()));
    EXPECT_EQ(info.id, u"firewall");
    EXPECT_EQ(info.instanceId, u"17");
    EXPECT_EQ(info.priority, 2);
    EXPECT_EQ(info.product, u"Guard");
    EXPECT_EQ(info.content, u"<b>\"hi\"</b>");
    EXPECT_EQ(info.timeout, 45u);
    EXPECT_EQ(info.sessionId, 4294967295u);
    EXPECT_EQ(info.source, AlertSource::Web);
    EXPECT_TRUE(info.forcePreferredViewer);
    EXPECT_EQ(info.preferredViewer, (std::vector<std::u16string>{u"toast", u"tray"}));
    EXPECT_EQ(info.context, u"{\"title\":\"T\",\"x\":[1.5,{}]}");
    EXPECT_EQ(info.toJson(),
              u"{\"id\":\"firewall\",\"instanceId\":\"17\",\"priority\":\"P2\",\"product\":\"Guard\","
              u"\"content\":\"<b>\\\"hi\\\"</b>\",\"timeout\":45,\"sessionId\":4294967295,\"source\":\"web\","
              u"\"forcePreferredViewer\":true,\"preferredViewer\":[\"toast\",\"tray\"],"
              u"\"context\":{\"title\":\"T\",\"x\":[1.5,{}]}}");
    AlertInfo again;
    ASSERT_TRUE(again.fromJson(info.toJson()));
    EXPECT_EQ(again.toJson(), info.toJson());
}

TEST(AlertInfo, TakesAPriorityOfOneToThreeAsNumbersAreRead) {
    const std::map<std::u16string, int32_t> good = {
        {u"P1", 1},  {u"P2", 2},  {u"P3", 3},    {u"P 2", 2},  {u"P+3", 3},
        {u"P03", 3}, {u"P2x", 2}, {u"P\\t1", 1}, {u"P1.9", 1}, {u"P2\\u00003", 2}};
    for (const auto& [text, priority] : good) {
        AlertInfo info;
        EXPECT_TRUE(info.fromJson(description({{u"priority", u"\"" + text + u"\""}})));
        EXPECT_EQ(info.priority, priority);
    }
    for (const std::u16string text :
         {u"\"p2\"", u"\"2\"", u"\"P0\"", u"\"P4\"", u"\"P-1\"", u"\"P\"", u"\"Px\"", u"\"\"", u"2",
          u"\"P4294967298\"", u"\"P-2147483648\"", u"\" P2\"", u"null"})
        EXPECT_FALSE(accepted({{u"priority", text}})) << testing::PrintToString(text);
}

TEST(AlertInfo, IsRefusedWithoutARequiredMemberOfTheRightKind) {
    for (const std::u16string name :
         {u"id", u"instanceId", u"priority", u"product", u"source", u"forcePreferredViewer", u"context"})
        EXPECT_FALSE(accepted({{name, u""}})) << testing::PrintToString(name);
    for (const auto& [name, value] :
         std::multimap<std::u16string, std::u16string>{{u"id", u"1"},
                                                       {u"source", u"\"Client\""},
                                                       {u"source", u"\"unknown\""},
                                                       {u"forcePreferredViewer", u"\"true\""},
                                                       {u"forcePreferredViewer", u"1"},
                                                       {u"preferredViewer", u"\"toast\""},
                                                       {u"preferredViewer", u"[\"toast\",1]"},
                                                       {u"preferredViewer", u"null"},
                                                       {u"context", u"\"{}\""},
                                                       {u"context", u"[]"}})
        EXPECT_FALSE(accepted({{name, value}})) << testing::PrintToString(value);
    for (const std::u16string text : {u"", u"[]", u"{", u"7"})
        EXPECT_FALSE(AlertInfo().fromJson(text));
    EXPECT_FALSE(AlertInfo().fromJson(u"{\"context\":" + std::u16string(200'000, u'[')));
}

TEST(AlertInfo, KeepsDefaultsForOptionalMembersThatAreMissingOrWrong) {
    for (const std::u16string number : {u"", u"-5", u"1.5", u"4294967296", u"\"5\""}) {
        AlertInfo info;
        ASSERT_TRUE(info.fromJson(description({{u"timeout", number},
                                               {u"sessionId", number},
                                               {u"content", u"5"},
                                               {u"preferredViewer", u""},
                                               {u"context", u"{}"}})));
        EXPECT_EQ(info.timeout, 30u);
        EXPECT_EQ(info.sessionId, 0u);
        EXPECT_EQ(info.content, u"");
        EXPECT_TRUE(info.preferredViewer.empty());
        EXPECT_EQ(info.context, u"{}");
        EXPECT_EQ(info.toJson().find(u"\"preferredViewer"), std::u16string::npos);
    }
}

TEST(AlertInfo, KeepsWhatWasReadBeforeTheRefusal) {
    AlertInfo info;
    ASSERT_FALSE(info.fromJson(description({{u"source", u"\"tv\""}})));
    EXPECT_EQ(info.id, u"firewall");
    EXPECT_EQ(info.priority, 2);
    EXPECT_EQ(info.sessionId, 4294967295u);
    EXPECT_EQ(info.source, AlertSource::Client);
    EXPECT_FALSE(info.forcePreferredViewer);
    EXPECT_TRUE(info.preferredViewer.empty());
    EXPECT_EQ(info.context, u"");
}

TEST(AlertInfo, WritesWhatItCannotReadInAWellFormedText) {
    AlertInfo info;
    info.source = static_cast<AlertSource>(7);
    info.priority = -4;
    info.context = u"{\"broken\":[";
    EXPECT_EQ(info.toJson(),
              u"{\"id\":\"\",\"instanceId\":\"\",\"priority\":\"P-4\",\"product\":\"\",\"content\":\"\","
              u"\"timeout\":30,\"sessionId\":0,\"source\":\"unknown\",\"forcePreferredViewer\":false,"
              u"\"context\":{}}");
    EXPECT_FALSE(AlertInfo().fromJson(info.toJson()));
}

// What stands in "context" is what a document built from it would hold, drifting digits included.
TEST(AlertInfo, WritesItsContextAsADocumentWould) {
    for (const std::u16string context :
         {u"{\"d\":[0.1234567890123456789,1.7976931348623157e308,5e-324,1e22,-0.0,9007199254740993.0]}",
          u"{\"a\":1,\"a\":{\"a\":[]},\"s\":\"\\u0001\\u00e9\\ud83d\\ude00\"}"}) {
        AlertInfo info;
        ASSERT_TRUE(info.fromJson(description({{u"context", context}})));
        Tavix::JSONFormatter parsed;
        ASSERT_TRUE(parsed.parse(info.context));
        EXPECT_TRUE(info.toJson().ends_with(u"\"context\":" + parsed.toString() + u"}"));
    }
}

TEST(AlertInfo, IsMovedAndLeavesTheSourceEmpty) {
    static_assert(!std::is_copy_constructible_v<AlertInfo> && std::has_virtual_destructor_v<AlertInfo>);
    AlertInfo source;
    ASSERT_TRUE(source.fromJson(description()));
    const std::u16string text = source.toJson();
    AlertInfo target(std::move(source));
    EXPECT_EQ(target.toJson(), text);
    // NOLINTBEGIN(bugprone-use-after-move): documented to be empty
    for (const std::u16string* member :
         {&source.id, &source.instanceId, &source.product, &source.context, &source.content})
        EXPECT_TRUE(member->empty());
    EXPECT_TRUE(source.preferredViewer.empty());
    // NOLINTEND(bugprone-use-after-move)
}

}  // namespace
