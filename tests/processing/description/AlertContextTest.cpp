#include <gtest/gtest.h>

#include "processing/description/AlertContext.h"

namespace {

using Vok::AlertContext;

TEST(AlertContext, IsReadWithEverythingInIt) {
    AlertContext context;
    ASSERT_TRUE(context.fromJson(
        u"{\"category\":\"c\",\"title\":\"t\",\"shortdescription\":\"sd\",\"longdescription\":\"ld\","
        u"\"langid\":\"l\",\"detailscontent\":\"dc\",\"defaultcontent\":\"ec\",\"recommendedtext\":\"rt\","
        u"\"detaillinktext\":\"dt\",\"detaillinkcontext\":\"dlc\",\"appid\":\"a\",\"plugin\":\"p\","
        u"\"alertmarketdescription\":\"am\",\"typedescription\":\"td\",\"telemetry\":\"te\",\"timeout\":1,"
        u"\"width\":2,\"status\":3,\"detaillinktype\":4,\"legacy\":true,"
        u"\"timeoutactions\":[{\"messagename\":\"m1\",\"payload\":\"p1\"},{}],"
        u"\"dismissalactions\":[{\"messagename\":\"m2\"}],"
        u"\"options\":[{\"id\":\"o\",\"text\":\"ot\",\"selected\":true}],"
        u"\"actions\":[{\"id\":\"x\",\"text\":\"xt\",\"default\":true,"
        u"\"defaultmessage\":{\"messagename\":\"m3\",\"payload\":\"p3\"},"
        u"\"options\":[{\"message\":{\"messagename\":\"m4\"},\"idList\":[\"i\",\"j\"]},{\"idList\":[\"k\",1]}"
        u"]},"
        u"{\"id\":\"y\",\"text\":\"yt\",\"defaultmessage\":{}}]}"));
    EXPECT_EQ(context.category + context.title + context.shortdescription + context.longdescription +
                  context.langid + context.detailscontent + context.defaultcontent + context.recommendedtext +
                  context.detaillinktext + context.detaillinkcontext + context.appid + context.plugin +
                  context.alertmarketdescription + context.typedescription + context.telemetry,
              u"ctsdldldcecrtdtdlcapamtdte");
    EXPECT_EQ(context.timeout, 1u);
    EXPECT_EQ(context.width, 2u);
    EXPECT_EQ(context.status, 3u);
    EXPECT_EQ(context.detaillinktype, 4u);
    EXPECT_TRUE(context.legacy);
    ASSERT_EQ(context.timeoutactions.size(), 2u);
    EXPECT_EQ(context.timeoutactions[0].payload, u"p1");
    ASSERT_EQ(context.dismissalactions.size(), 1u);
    EXPECT_EQ(context.dismissalactions[0].messagename, u"m2");
    ASSERT_EQ(context.options.size(), 1u);
    EXPECT_TRUE(context.options[0].selected);
    ASSERT_EQ(context.actions.size(), 2u);
    EXPECT_TRUE(context.actions[0].isDefault);
    EXPECT_EQ(context.actions[0].defaultmessage.payload, u"p3");
    ASSERT_EQ(context.actions[0].options.size(), 2u);
    EXPECT_EQ(context.actions[0].options[0].message.messagename, u"m4");
    EXPECT_EQ(context.actions[0].options[0].idList, (std::vector<std::u16string>{u"i", u"j"}));
    EXPECT_EQ(context.actions[0].options[1].message.messagename, u"");
    EXPECT_EQ(context.actions[0].options[1].idList, std::vector<std::u16string>{u"k"});
    EXPECT_EQ(context.actions[1].text, u"yt");
    EXPECT_FALSE(context.actions[1].isDefault);
}

TEST(AlertContext, StaysEmptyWithoutATitle) {
    for (const std::u16string text :
         {u"{\"category\":\"c\"}", u"{\"title\":1,\"category\":\"c\"}", u"[]", u""}) {
        AlertContext context;
        EXPECT_FALSE(context.fromJson(text));
        EXPECT_EQ(context.category, u"");
    }
}

TEST(AlertContext, NeedsItsTitleOnlyAndPassesOverWrongKinds) {
    AlertContext context;
    EXPECT_TRUE(
        context.fromJson(u"{\"title\":\"t\",\"category\":1,\"width\":-1,\"legacy\":\"true\","
                         u"\"timeoutactions\":[{\"payload\":\"p\"},1,{}],\"dismissalactions\":{},"
                         u"\"options\":\"o\",\"actions\":[7]}"));
    EXPECT_EQ(context.category, u"");
    EXPECT_EQ(context.width, 0u);
    EXPECT_FALSE(context.legacy);
    EXPECT_EQ(context.timeoutactions.size(), 1u);
    EXPECT_TRUE(context.dismissalactions.empty() && context.options.empty() && context.actions.empty());
}

TEST(AlertContext, EndsAtTheFirstOptionOrActionThatLacksAMember) {
    const std::u16string action = u"{\"text\":\"t\",\"id\":\"i\",\"defaultmessage\":{}}";
    AlertContext options;
    EXPECT_FALSE(
        options.fromJson(u"{\"title\":\"t\",\"options\":[{\"id\":\"1\",\"text\":\"\",\"selected\":false},"
                         u"{\"id\":\"2\",\"text\":\"\"}],\"actions\":[" +
                         action + u"]}"));
    ASSERT_EQ(options.options.size(), 1u);
    EXPECT_EQ(options.options[0].id, u"1");
    EXPECT_TRUE(options.actions.empty());

    for (const std::u16string broken :
         {u"{\"text\":\"t\",\"id\":\"i\"}", u"{\"text\":\"t\",\"defaultmessage\":{}}",
          u"{\"id\":\"i\",\"defaultmessage\":{}}"}) {
        AlertContext actions;
        EXPECT_FALSE(actions.fromJson(u"{\"title\":\"t\",\"actions\":[" + action + u"," + broken + u"," +
                                      action + u"]}"));
        EXPECT_EQ(actions.actions.size(), 1u);
    }
}

}  // namespace
