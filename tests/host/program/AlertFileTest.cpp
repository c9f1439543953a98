#include "host/program/HostFixture.h"
#include "host/program/product/AlertFile.h"
#include "text/Utf.h"

namespace Host {
namespace {

using AlertFileTest = HostTest;

constexpr std::string_view good =
    R"({"id":"a","priority":"P1","product":"p","source":"web","forcePreferredViewer":true,"timeout":9,)"
    R"("preferredViewer":["v"],"context":{"title":"\u001b"}})";

std::string without(std::string_view part, std::string_view replacement = "") {
    std::string text(good);
    return text.replace(text.find(part), part.size(), replacement);
}

TEST_F(AlertFileTest, TakesAnAlertAndPutsTheInstanceIdIn) {
    for (const std::string& text : {std::string(good), "\xEF\xBB\xBF" + std::string(good),
                                    without(R"("id":"a",)", R"("id":"a","instanceId":"of another run",)"),
                                    without(R"("id":"a",)", R"("id":"a","n":0.00000000001e-2147483639,)"),
                                    without(R"("preferredViewer":["v"],)")}) {
        AlertFile alert;
        std::u16string error;
        ASSERT_TRUE(alert.parse(text, u"f", error)) << Ferrow::toUtf8(error);
        EXPECT_EQ(alert.id(), u"a");
        EXPECT_EQ(alert.product(), u"p");
        EXPECT_EQ(alert.timeout(), std::chrono::seconds(9));
        Tavix::JSONFormatter description;
        std::u16string instance;
        ASSERT_TRUE(description.parse(alert.description(u"17")));
        EXPECT_TRUE(description.getString(u"instanceId", instance));
        EXPECT_EQ(instance, u"17");
    }
}

TEST_F(AlertFileTest, SaysWhatIsWrong) {
    const std::pair<std::string, std::u16string_view> cases[] = {
        {"", u"line 1, byte 1"},
        {"{\n  \"id\": \"a\",\n  nonsense\n}", u"line 3, byte 3"},
        {"{\"n\":1e-12345678901234}x", u"line 1, byte 24"},
        {"[]", u"must be one JSON object"},
        {"{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}", u"nests too deeply"},
        {"{\"id\":\"\xC3\"}", u"line 1"},
        {std::string(5 << 20, ' '), u"larger than 4 MiB"},
        {without(R"("id":"a",)"), u"required member \"id\" is missing"},
        {without(R"("a")", "5"), u"member \"id\" must be a text"},
        {without(R"("a")", R"("a(")"), u"member \"id\" must not hold"},
        {without(R"("P1")", R"("P4")"), u"member \"priority\" must be \"P1\", \"P2\" or \"P3\""},
        {without(R"("product":"p",)"), u"required member \"product\" is missing"},
        {without(R"("web")", R"("Web")"), u"member \"source\" must be \"client\" or \"web\""},
        {without("true", "1"), u"member \"forcePreferredViewer\" must be true or false"},
        {without(R"(["v"])", R"("v")"), u"member \"preferredViewer\" must be a list of texts"},
        {without(R"({"title":"\u001b"})", R"("{}")"), u"member \"context\" must be an object"},
    };
    for (const auto& [text, expected] : cases) {
        AlertFile alert;
        std::u16string error;
        EXPECT_FALSE(alert.parse(text, u"the file", error)) << Ferrow::toUtf8(expected);
        EXPECT_NE(error.find(u"\"the file\" is no alert: "), error.npos);
        EXPECT_NE(error.find(expected), error.npos) << Ferrow::toUtf8(error);
    }

    AlertFile alert;
    std::u16string error;
    EXPECT_FALSE(alert.read(inFolder(u"absent.json"), error));
    EXPECT_NE(error.find(u"there is no such file"), error.npos);
    EXPECT_FALSE(alert.read(folder.portable(), error));
    EXPECT_NE(error.find(u"is a folder"), error.npos);
}

}  // namespace
}  // namespace Host
