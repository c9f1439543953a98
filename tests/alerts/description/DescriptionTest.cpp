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

// What was read of a context: its texts and numbers, then for each list what tells its elements apart.
std::u16string contentOf(const AlertContext& context) {
    std::u16string text = context.category + context.title + context.shortdescription +
                          context.longdescription + context.langid + context.detailscontent +
                          context.defaultcontent + context.recommendedtext + context.detaillinktext +
                          context.detaillinkcontext + context.appid + context.plugin +
                          context.alertmarketdescription + context.typedescription + context.telemetry;
    for (const uint32_t number :
         {context.timeout, context.width, context.status, context.detaillinktype, uint32_t{context.legacy}})
        text += static_cast<char16_t>(u'0' + number);
    for (const auto& message : context.timeoutactions)
        text += u" t:" + message.messagename + message.payload;
    for (const auto& message : context.dismissalactions)
        text += u" d:" + message.messagename;
    for (const auto& option : context.options)
        text += u" o:" + option.id + option.text + (option.selected ? u"+" : u"-");
    for (const auto& action : context.actions) {
        text += u" a:" + action.id + action.text + (action.isDefault ? u"+" : u"-");
        text += action.defaultmessage.payload;
        for (const auto& option : action.options)
            text += u"," + option.message.messagename + (option.idList.empty() ? u"" : option.idList.back());
    }
    return text;
}

TEST(AlertContext, IsReadUpToWhatItCannotDoWithout) {
    const std::u16string action = uR"({"text":"t","id":"i","defaultmessage":{}})";
    const struct {
        std::u16string text;
        bool accepted;
        std::u16string content;
    } cases[]{
        {uR"({"category":"A","title":"B","shortdescription":"C","longdescription":"D","langid":"E",
              "detailscontent":"F","defaultcontent":"G","recommendedtext":"H","detaillinktext":"I",
              "detaillinkcontext":"J","appid":"K","plugin":"L","alertmarketdescription":"M",
              "typedescription":"N","telemetry":"O","timeout":1,"width":2,"status":3,"detaillinktype":4,
              "legacy":true,"timeoutactions":[{"messagename":"m1","payload":"p1"},{}],
              "dismissalactions":[{"messagename":"m2"}],"options":[{"id":"o","text":"O","selected":true}],
              "actions":[{"id":"x","text":"X","default":true,"defaultmessage":{"payload":"p3"},
                "options":[{"message":{"messagename":"m4"},"idList":["i","j"]},{"idList":["k",1]}]},
                {"id":"y","text":"Y","defaultmessage":{}}]})",
         true, u"ABCDEFGHIJKLMNO12341 t:m1p1 t: d:m2 o:oO+ a:xX+p3,m4j,k a:yY-"},
        {uR"({"category":"c"})", false, u"00000"},
        {uR"([])", false, u"00000"},
        {uR"({"title":"t","category":1,"width":-1,"legacy":"true","timeoutactions":[{"payload":"p"},1,{}],
              "dismissalactions":{},"options":"o","actions":[7]})",
         true, u"t00000 t:p"},
        {uR"({"title":"","options":[{"id":"1","text":"","selected":false},{"id":"2","text":""}],"actions":[)" +
             action + u"]}",
         false, u"00000 o:1-"},
        {uR"({"title":"","actions":[)" + action + uR"(,{"text":"t","id":"i"},)" + action + u"]}", false,
         u"00000 a:it-"},
    };
    for (const auto& one : cases) {
        AlertContext context;
        EXPECT_EQ(context.fromJson(one.text), one.accepted);
        EXPECT_EQ(contentOf(context), one.content);
    }
}

}  // namespace
