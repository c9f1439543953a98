#include <algorithm>
#include <sstream>

#include "host/program/HostFixture.h"
#include "host/program/commands/Program.h"
#include "host/program/service/SessionNotifier.h"
#include "platform/Files.h"

namespace Host {
namespace {

class ProgramTest : public HostTest {
protected:
    int run(const std::vector<std::u16string>& arguments) {
        output.str({});
        errors.str({});
        Console console(output, errors);
        return Program(console, display).run(arguments);
    }
    std::u16string write(const std::u16string& name, std::string_view text) {
        EXPECT_TRUE(Platform::appendToFile(inFolder(name), text, true));
        return inFolder(name);
    }
    bool said(std::string_view text) const { return output.str().find(text) != std::string::npos; }
    static bool someoneIsLoggedOn() {
        std::vector<Platform::UserSession> sessions;
        return Platform::enumerateUserSessions(sessions) &&
               std::ranges::count(sessions, Platform::UserSessionState::active,
                                  &Platform::UserSession::state) > 0;
    }

    const std::u16string store = inFolder(u"settings.json");
    std::ostringstream output, errors;
    FakeDisplay display;
};

constexpr std::string_view alert =
    R"({"id":"a\u001b","priority":"P1","product":"Example","source":"web","forcePreferredViewer":true,)"
    R"("context":{"title":"T","category":"update","defaultcontent":"Text of the \u001b[2J content"}})";

TEST_F(ProgramTest, PlaysTheMainJobOnEitherBus) {
    if (!someoneIsLoggedOn())
        GTEST_SKIP() << "no user session is active on this machine";
    const std::u16string file = write(u"alert.json", alert);
    size_t shown = 0;
    for (const char16_t* bus : {u"own", u"handed-over"}) {
        display.end({Showing::Ending::dismissed, {}});
        EXPECT_EQ(run({u"--store", store, u"--bus", bus, file}), exitDone) << errors.str();
        for (const char* name :
             {"Brevant.Alert.GetId", "Brevant.Alert.GetId.Response", "Brevant.Alert.Show.1", ".Queued.1",
              "Brevant.Viewer.console.Show.1", ".Shown.1", ".Dismissed.1", "shown and dismissed", "Log:"})
            EXPECT_TRUE(said(name)) << name << "\n" << output.str();
        EXPECT_FALSE(said("\x1B"));
        const auto alerts = display.waitForShown(++shown);
        ASSERT_EQ(alerts.size(), shown);
        EXPECT_EQ(alerts.back().texts, std::vector<std::u16string>{u"Text of the \x1B[2J content"})
            << "from the plugin";
    }
}

TEST_F(ProgramTest, FailsWhenItsOutputCannotBeWritten) {
    output.setstate(std::ios::badbit);
    EXPECT_EQ(run({u"--help"}), exitFailed);
    EXPECT_NE(errors.str(), "");
}

TEST_F(ProgramTest, ReportsAnAlertThatThePluginSuppresses) {
    std::string advert(alert);
    advert.replace(advert.find("update"), 6, "advert");
    EXPECT_EQ(run({u"--store", store, write(u"advert.json", advert)}), exitDone) << errors.str();
    EXPECT_TRUE(said(".Suppressed.1"));
    EXPECT_TRUE(display.waitForShown(0).empty());
}

TEST_F(ProgramTest, BadInputEndsWithTwoAndSaysWhatIsWrong) {
    const std::pair<std::vector<std::u16string>, std::string_view> cases[]{
        {{inFolder(u"absent.json")}, "absent.json\": there is no such file"},
        {{write(u"b.json", R"({"id":"a"})")}, "required member \"priority\" is missing"},
        {{write(u"c.json", "{\"\x1B[2J")}, "line 1, byte "},
        {{}, "there is no alert to show"},
        {{u"--wrong"}, "there is no option \"--wrong\""},
        {{u"a", u"b"}, ""},
        {{u"--bus"}, ""},
        {{u"--bus", u"other", u"a"}, ""},
        {{u"--set", u"=v"}, ""},
        {{u"--list", u"--serve"}, ""},
    };
    for (const auto& [arguments, complaint] : cases) {
        EXPECT_EQ(run(arguments), exitBadInput) << testing::PrintToString(arguments);
        EXPECT_NE(errors.str().find(complaint), std::string::npos) << errors.str();
        EXPECT_EQ(errors.str().find('\x1B'), std::string::npos);
    }
    EXPECT_EQ(run({u"--help"}), exitDone);
    EXPECT_TRUE(said("--serve"));
}

TEST_F(ProgramTest, SettingsAreChangedInOrderAndSurviveTheProgram) {
    EXPECT_EQ(run({u"--store", store, u"--set", u"a=1=2", u"--set", u"b=", u"--get", u"a"}), exitDone);
    EXPECT_EQ(output.str(), "1=2\n");
    EXPECT_EQ(run({u"--store", store, u"--remove", u"a", u"--list"}), exitDone);
    EXPECT_EQ(output.str(), "b=\n");
    EXPECT_EQ(run({u"--store", store, u"--get", u"a"}), exitFailed);
    EXPECT_NE(errors.str().find("there is no setting \"a\""), std::string::npos);
}

TEST_F(ProgramTest, SessionsThatComeGoAndTakeTheConsoleAreAnnounced) {
    using Platform::UserSessionState;
    bool listable = true;
    std::vector<Platform::UserSession> sessions{{1, UserSessionState::active}};
    std::vector<std::u16string> published;
    SessionNotifier notifier(
        [&](std::vector<Platform::UserSession>& out) {
            out = listable ? sessions : std::vector<Platform::UserSession>();
            return listable;
        },
        [&](const std::u16string& name, const std::u16string& payload) {
            published.push_back(name.substr(std::u16string_view(u"SystemMonitor.UserSession.").size()) +
                                payload);
        });
    notifier.look();
    EXPECT_TRUE(published.empty()) << "what was there before is no news";
    sessions = {{1, UserSessionState::disconnected}, {2, UserSessionState::active}};
    notifier.look();
    listable = false;
    notifier.look();
    listable = true;
    sessions = {{1, UserSessionState::active}};
    notifier.look();
    notifier.look();
    EXPECT_EQ(published,
              (std::vector<std::u16string>{u"Logon{\"sessionId\":2}", u"Console.Connect{\"sessionId\":2}",
                                           u"Logoff{\"sessionId\":2}", u"Console.Connect{\"sessionId\":1}"}));
}

}  // namespace
}  // namespace Host
