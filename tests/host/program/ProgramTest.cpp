#include <algorithm>
#include <sstream>

#include "host/program/HostFixture.h"
#include "host/program/connection/HostStatus.h"
#include "host/program/service/SessionNotifier.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace Host {
namespace {

// The commands find each other on the bus library beside the test, which lives in this process.
class ProgramTest : public HostTest {
protected:
    void SetUp() override {
        if (!someoneIsLoggedOn())
            GTEST_SKIP() << "no user session is active on this machine";
    }
    using Arguments = std::vector<std::u16string>;

    std::unique_ptr<Command> start(Arguments arguments, AlertDisplay* user = nullptr) {
        return std::make_unique<Command>(std::move(arguments), user);
    }
    int run(Arguments arguments, AlertDisplay* user = nullptr) {
        Command command(std::move(arguments), user);
        const int code = command.end();
        output = command.output.text();
        errors = command.errors.text();
        return code;
    }
    std::unique_ptr<Command> startHost() {
        auto host = start({u"host", u"--store", store});
        EXPECT_TRUE(host->says("serving")) << host->errors.text();
        return host;
    }
    std::u16string write(const std::u16string& name, std::string_view text) {
        EXPECT_TRUE(Platform::appendToFile(inFolder(name), text, true));
        return inFolder(name);
    }
    std::u16string writeAlert(const std::string& id, const std::string& members = "") {
        return write(
            Ferrow::toUtf16(id),
            R"({"id":")" + id + R"(","priority":"P1","product":"Example","source":"web",)" + members +
                R"("forcePreferredViewer":true,"preferredViewer":["mine"],"context":{"title":"T )" + id +
                R"(","category":"update","defaultcontent":"Text of the \u001b[2J content","actions":[)" +
                R"({"id":"go","text":"Go","default":true,"defaultmessage":{"messagename":"Example.Go","payload":"1"}}],)" +
                R"("timeoutactions":[{"messagename":"Example.Late","payload":""}]}})");
    }
    bool said(std::string_view text) const { return output.find(text) != std::string::npos; }
    std::optional<HostStatus> status() {
        run({u"status", u"--json"});
        return HostStatus::parse(Ferrow::toUtf16(output));
    }
    static bool someoneIsLoggedOn() {
        std::vector<Platform::UserSession> sessions;
        return Platform::enumerateUserSessions(sessions) &&
               std::ranges::count(sessions, Platform::UserSessionState::active,
                                  &Platform::UserSession::state) > 0;
    }

    const std::u16string store = inFolder(u"settings.json");
    std::string output, errors;
    FakeDisplay display;
};

TEST_F(ProgramTest, ShowPlaysTheWholeRoadByItselfOnEitherBus) {
    const std::u16string file = write(
        u"alert.json",
        R"({"id":"a\u001b","priority":"P1","product":"Example","source":"web","forcePreferredViewer":true,)"
        R"("context":{"title":"T","category":"update","defaultcontent":"Text of the \u001b[2J content"}})");
    size_t shown = 0;
    for (const bool handsOver : {false, true}) {
        display.end({Showing::Ending::dismissed});
        Arguments arguments{u"show", u"--store=" + store, file};
        if (handsOver)
            arguments.push_back(u"--hand-over-bus");
        EXPECT_EQ(run(arguments, &display), exitDismissed) << errors;
        for (const char* name :
             {"Brevant.Alert.GetId", "Brevant.Alert.GetId.Response", "Brevant.Alert.Show.1", ".Queued.1",
              "Brevant.Viewer.console.Show.1", ".Shown.1", ".Dismissed.1", "shown and dismissed", "Log:"})
            EXPECT_TRUE(said(name)) << name << "\n" << output;
        EXPECT_FALSE(said("\x1B"));
        const auto alerts = display.waitForShown(++shown);
        ASSERT_EQ(alerts.size(), shown);
        EXPECT_EQ(alerts.back().texts, std::vector<std::u16string>{u"Text of the \x1B[2J content"})
            << "from the plugin";
    }
    EXPECT_EQ(run({u"show", u"--quiet", u"--store", store, file}), exitSuppressed);
    EXPECT_EQ(output.find("\n"), output.size() - 1) << "nothing but the outcome: " << output;
    EXPECT_NE(errors.find("nobody is at a terminal"), std::string::npos) << errors;
}

TEST_F(ProgramTest, AHostServesProductsViewersAndTools) {
    const auto host = startHost();
    EXPECT_EQ(run({u"host", u"--store", store}), exitRefused);
    EXPECT_NE(errors.find(std::to_string(Platform::currentProcessId())), std::string::npos) << errors;

    EXPECT_EQ(run({u"show", writeAlert("lonely")}), exitSuppressed);
    EXPECT_TRUE(said("no viewer is registered")) << output;
    auto viewer = start({u"viewer", u"--id", u"mine", u"--answer=go"});
    EXPECT_TRUE(viewer->says("registered as \"mine\"")) << viewer->errors.text();
    EXPECT_EQ(run({u"viewer", u"--id=mine", u"--answer=dismiss"}), exitRefused);
    EXPECT_TRUE(Support::eventually([&] { return status()->hasViewer(u"mine"); }));

    auto changes = start({u"settings", u"watch", u"p/"});
    EXPECT_EQ(run({u"show", u"--json", writeAlert("ab"), writeAlert("cd")}), exitDone) << errors;
    EXPECT_TRUE(said(R"("outcome":"chosen","action":"Go","message":"Example.Go","payload":"1"})")) << output;
    EXPECT_EQ(std::ranges::count(output, '\n'), 2);

    EXPECT_EQ(run({u"settings", u"set", u"p/a", u"1=2"}), exitDone) << errors;
    EXPECT_EQ(run({u"settings", u"get", u"p/a"}), exitDone);
    EXPECT_EQ(output, "1=2\n");
    EXPECT_TRUE(changes->says("set p/a=1=2"));
    EXPECT_EQ(run({u"delete", u"1"}), exitFailed) << "it has been chosen";
    EXPECT_EQ(viewer->stop(), exitDone);
    EXPECT_FALSE(status()->hasViewer(u"mine"));
    EXPECT_EQ(changes->stop(), exitDone);
    EXPECT_EQ(host->stop(), exitDone);
    EXPECT_EQ(run({u"status"}), exitNobody);
    EXPECT_EQ(run({u"settings", u"--help"}), exitDone);
}

TEST_F(ProgramTest, EveryOutcomeHasItsLineAndItsCode) {
    const auto host = startHost();
    const auto viewer = start({u"viewer", u"--id", u"mine"}, &display);
    EXPECT_TRUE(viewer->says("registered"));
    EXPECT_TRUE(Support::eventually([&] { return status()->hasViewer(u"mine"); }));
    size_t shown = 0;
    const auto show = [&](const std::string& id) {
        auto product = start({u"show", writeAlert(id)});
        EXPECT_EQ(display.waitForShown(++shown).back().id, Ferrow::toUtf16(id));
        return product;
    };
    auto late = show("late");
    display.end({Showing::Ending::timedOut});
    EXPECT_EQ(late->end(), exitTimedOut) << late->output.text();

    auto failed = show("failed");
    display.end({Showing::Ending::takenDown});
    EXPECT_EQ(failed->end(), exitAlertFailed);
    EXPECT_TRUE(failed->says("failed after it was shown"));

    auto first = show("first");
    EXPECT_TRUE(Support::eventually([&] { return status()->shown == 1; }));
    const std::u16string instance = status()->alerts.at(0).instance;
    auto waiting = start({u"show", u"--no-wait", writeAlert("waiting", R"("sessionId":77,)")});
    EXPECT_EQ(waiting->end(), exitDone) << waiting->errors.text();
    EXPECT_EQ(
        run({u"show", write(u"like", R"({"id":"like","priority":"P1","product":"Example","source":"web",)"
                                     R"("forcePreferredViewer":true,"preferredViewer":["other"],)"
                                     R"("context":{"category":"update"}})")}),
        exitSuppressed);
    EXPECT_TRUE(said("none of its viewers (other) is registered, but mine")) << output;
    EXPECT_EQ(run({u"show", inFolder(u"waiting")}), exitSuppressed);
    EXPECT_TRUE(said("alert \"waiting\"")) << output;
    EXPECT_EQ(run({u"delete", instance}), exitDone) << errors;
    EXPECT_EQ(first->end(), exitWithdrawn) << first->output.text();

    auto loggedOff = start({u"show", writeAlert("loggedOff", R"("sessionId":78,)")});
    EXPECT_TRUE(Support::eventually([&] { return status()->waiting == 2; }));
    Support::BusPeer().publish(BREVANT_SESSION_LOGOFF, u"{\"sessionId\":78}");
    EXPECT_EQ(loggedOff->end(), exitLost) << loggedOff->output.text();

    auto asked = show("asked");
    EXPECT_EQ(asked->stop(), exitUnknown);
    // An alert on screen does not keep the host.
    EXPECT_EQ(host->stop(), exitDone);
    EXPECT_TRUE(viewer->says("withdrawn")) << viewer->output.text();
}

TEST_F(ProgramTest, ViewerAndProductOutliveTheHost) {
    auto host = startHost();
    const auto viewer = start({u"viewer", u"--id", u"mine"}, &display);
    EXPECT_TRUE(viewer->says("registered"));
    EXPECT_TRUE(Support::eventually([&] { return status()->hasViewer(u"mine"); }));
    auto product = start({u"show", writeAlert("held", R"("sessionId":77,)")});
    EXPECT_TRUE(Support::eventually([&] { return status()->waiting == 1; }));
    EXPECT_EQ(host->stop(), exitDone);
    EXPECT_TRUE(viewer->complains("the host is gone"));
    EXPECT_TRUE(product->complains("the host is gone"));
    host = startHost();
    EXPECT_EQ(product->end(), exitLost) << product->output.text();
    EXPECT_TRUE(Support::eventually([&] { return status()->hasViewer(u"mine"); }));
    auto next = start({u"show", writeAlert("next")});
    display.waitForShown(1);
    display.end({Showing::Ending::dismissed, 0});
    EXPECT_EQ(next->end(), exitDone) << next->output.text();
}

TEST_F(ProgramTest, AViewerThatGivesNoSignOfLifeIsUnregisteredIfItPromisedOne) {
    const auto host = startHost();
    Support::MessageLog log;
    for (const char16_t* name : {u"foreign", u"silent", u"dead"})
        EXPECT_EQ(run({u"settings", u"set", u"--volatile", u"Brevant/Viewer/" + std::u16string(name),
                       std::u16string(name) == u"foreign" ? u"1" : u"{\"alive\":true}"}),
                  exitDone);
    Support::BusPeer silent;  // is there, and slow
    silent.onName(u"Brevant.Viewer.silent.Alive", [](const auto&) { return MODULE_STATUS_SUCCESS; });
    EXPECT_TRUE(log.waitFor(u"Brevant.Viewer.dead.Unregistered"));
    EXPECT_TRUE(status()->hasViewer(u"foreign") && status()->hasViewer(u"silent"));
}

TEST_F(ProgramTest, BadInputEndsWithTwoAndSaysWhatIsWrong) {
    const std::pair<Arguments, std::string_view> cases[]{
        {{u"show", inFolder(u"absent.json")}, "absent.json\": there is no such file"},
        {{u"show", write(u"b.json", R"({"id":"a"})")}, "required member \"priority\" is missing"},
        {{u"host", write(u"c.json", "{\"\x1B[2J")}, "line 1, byte "},
        {{u"show"}, "FILE"},
        {{}, "subcommand"},
        {{u"show", u"--wrong", u"a"}, "--wrong"},
        {{u"show", u"-", u"-"}, "but once"},
        {{u"delete", u"1.5"}, "is no instance"},
        {{u"viewer"}, "--answer"},
        {{u"host", u"--viewer"}, "--answer"},
        {{u"host", u"--grace", u"-1"}, "--grace"},
        {{u"watch", u"("}, "is no pattern"},
        {{u"settings", u"set", u"a"}, "VALUE"},
        {{u"settings", u"frob\x1B"}, ""},
    };
    for (const auto& [arguments, complaint] : cases) {
        EXPECT_EQ(run(arguments), exitBadInput) << testing::PrintToString(arguments);
        EXPECT_NE(errors.find(complaint), std::string::npos) << errors;
        EXPECT_EQ(errors.find('\x1B'), std::string::npos);
        EXPECT_EQ(output, "");
    }
    EXPECT_EQ(run({u"--help"}), exitDone);
    for (const char16_t* command : {u"host", u"show", u"delete", u"viewer", u"status", u"watch"}) {
        EXPECT_TRUE(said(Ferrow::toUtf8(command)));
        Command help({command, u"--help"}, nullptr);
        EXPECT_EQ(help.end(), exitDone);
        EXPECT_NE(help.output.text().find("Example: brevant " + Ferrow::toUtf8(command)), std::string::npos);
    }
}

TEST_F(ProgramTest, WithoutAHostItSaysSoAndSettingsAreThoseInTheFile) {
    for (const Arguments& arguments :
         {Arguments{u"delete", u"1"}, Arguments{u"status"}, Arguments{u"watch"},
          Arguments{u"settings", u"watch"}, Arguments{u"viewer", u"--answer", u"dismiss"}})
        EXPECT_EQ(run(arguments), exitNobody) << testing::PrintToString(arguments);
    EXPECT_EQ(run({u"settings", u"set", u"a", u"1"}), exitDone) << errors;
    EXPECT_TRUE(said("no host runs"));
    EXPECT_EQ(run({u"settings", u"get", u"a", u"--quiet"}), exitDone);
    EXPECT_EQ(output, "1\n");
    EXPECT_EQ(run({u"settings", u"remove", u"a"}), exitDone);
    EXPECT_EQ(run({u"settings", u"list", u"--store", store}), exitDone);
    EXPECT_EQ(output, "");
    EXPECT_EQ(run({u"settings", u"get", u"a"}), exitFailed);
    EXPECT_NE(errors.find("there is no setting \"a\""), std::string::npos);

    std::ostream broken(nullptr);
    Console console(broken, broken);
    EXPECT_EQ(Program(console, nullptr, nullptr).run({u"--version"}), exitFailed) << "cannot be written";
}

TEST(SessionNotifierTest, SessionsThatComeGoAndTakeTheConsoleAreAnnounced) {
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
