#include <gtest/gtest.h>
#include <map>

#include "alerts/description/AlertContext.h"
#include "alerts/description/AlertInfo.h"

namespace {

using Vok::AlertContext;
using Vok::AlertInfo;

// A full description with one member replaced by other JSON text, or left out for an empty one.
std::u16string description(const std::u16string& changed = u"", const std::u16string& change = u"") {
    std::u16string text = u"{ \"unknown\" : [ 1 ]";
    for (const auto& [name, value] : std::initializer_list<std::pair<std::u16string, std::u16string>>{
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
             {u"context", u"{ \"title\" : \"T\", \"x\":[1.5, {}] }"}}) {
        const std::u16string& used = name == changed ? change : value;
        if (!used.empty())
            text += u", \"" + name + u"\" : " + used;
    }
    return text + u"}";
}

const std::u16string written =
    uR"({"id":"firewall","instanceId":"17","priority":"P2","product":"Guard","content":"<b>\"hi\"</b>",)"
    uR"("timeout":45,"sessionId":4294967295,"source":"web","forcePreferredViewer":true,)"
    uR"("preferredViewer":["toast","tray"],"context":{"title":"T","x":[1.5,{}]}})";

TEST(AlertInfo, IsReadFromADescriptionWrittenInItsOwnFormAndMovedOutOf) {
    AlertInfo source;
    ASSERT_TRUE(source.fromJson(description()));
    AlertInfo info(std::move(source));
    EXPECT_EQ(info.toJson(), written);
    // NOLINTNEXTLINE(bugprone-use-after-move): documented to be empty
    EXPECT_EQ(source.id + source.instanceId + source.product + source.context.text() + source.content, u"");
    EXPECT_TRUE(source.preferredViewer.empty());
}

TEST(AlertInfo, IsRefusedWithoutARequiredMemberOfTheRightKind) {
    const std::map<std::u16string, std::vector<std::u16string>> refused{
        {u"id", {u"", u"1"}},
        {u"priority", {u"", u"2", u"\"\"", u"\"p2\"", u"\"2\"", u"\"P\"", u"\"Px\"", u"\"P0\"", u"\"P4\""}},
        {u"source", {u"", u"\"Client\""}},
        {u"forcePreferredViewer", {u"", u"\"true\""}},
        {u"preferredViewer", {u"\"toast\"", u"[\"toast\",1]"}},
        {u"context", {u"", u"\"{}\""}}};
    for (const auto& [name, values] : refused)
        for (const std::u16string& value : values)
            EXPECT_FALSE(AlertInfo().fromJson(description(name, value))) << testing::PrintToString(value);
    AlertInfo info;
    EXPECT_FALSE(info.fromJson(description(u"source", u"\"tv\"")));
    EXPECT_EQ(info.id + info.content + info.context.text(), u"firewall<b>\"hi\"</b>");
}

TEST(AlertInfo, TakesPrioritiesAsNumbersAreReadAndKeepsDefaultsForWhatIsWrong) {
    for (const std::u16string priority : {u"P3", u"P 3", u"P+3", u"P03", u"P3x", u"P\\t3", u"P3.9"}) {
        AlertInfo info;
        EXPECT_TRUE(info.fromJson(description(u"priority", u"\"" + priority + u"\"")));
        EXPECT_EQ(info.priority, 3);
    }
    for (const std::u16string timeout : {u"", u"-5", u"1.5", u"4294967296"}) {
        AlertInfo info;
        EXPECT_TRUE(info.fromJson(description(u"timeout", timeout)));
        EXPECT_EQ(info.timeout, 30u);
    }
    AlertInfo info;
    EXPECT_TRUE(info.fromJson(description(u"preferredViewer")));
    info.source = static_cast<Vok::AlertSource>(7);
    info.context = u"{\"broken\":[";
    EXPECT_TRUE(info.toJson().ends_with(uR"("source":"unknown","forcePreferredViewer":true,"context":{}})"));
}

// Only what tells duplicates apart is ever looked at.
TEST(AlertContext, IsReadUpToWhatItCannotDoWithout) {
    const std::u16string start = uR"({"title":"T","detailscontent":"D","defaultcontent":"C","actions":[)",
                         action = uR"({"text":"a","id":"i","defaultmessage":{}})";
    const struct {
        std::u16string text;
        bool accepted;
        std::u16string content;
    } cases[]{
        {start + uR"({"text":"b","id":"","defaultmessage":{"payload":1},"options":[{"idList":[1]},2]},)" +
             action + uR"(],"timeoutactions":{},"options":[{"id":"1","text":"","selected":false},3]})",
         true, u"TCD b a"},
        {uR"({"category":"c"})", false, u""},
        {uR"([])", false, u""},
        {uR"({"title":"T","category":1,"width":-1,"legacy":"true","options":"o","actions":[7,)" + action +
             u"]}",
         true, u"T"},
        {start + action + uR"(],"options":[{"id":"1","text":""}]})", false, u"TCD"},
        {start + action + uR"(,{"text":"t","id":"i"}]})", false, u"TCD a"},
        {start + action + uR"(,{"text":"t","defaultmessage":{}}]})", false, u"TCD a"},
        {start + action + uR"(,{"id":"i","defaultmessage":{}}]})", false, u"TCD a"},
    };
    for (const auto& [text, accepted, content] : cases) {
        AlertContext context;
        EXPECT_EQ(context.fromJson(text), accepted);
        std::u16string read = context.title + context.defaultcontent + context.detailscontent;
        for (const auto& each : context.actions)
            read += u" " + each.text;
        EXPECT_EQ(read, content);
    }
}

}  // namespace
