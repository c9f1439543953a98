// The program as a process: signals, a terminal, a full disk.
#include <sys/resource.h>

#include "host/program/HostFixture.h"
#include "host/program/linux/TerminalProcess.h"
#include "host/program/output/ExitCode.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace Host {
namespace {

using Process = TerminalProcess;

class ProcessTest : public HostTest {
protected:
    std::string alert(const std::string& product = "Example") {
        const std::u16string file = inFolder(u"alert.json");
        Platform::appendToFile(
            file,
            R"({"id":"a","priority":"P1","product":")" + product + R"(","source":"web","timeout":3600,)" +
                R"("forcePreferredViewer":true,"context":{"title":"Title","category":"update",)" +
                R"("defaultcontent":"Text","actions":[{"id":"n","text":"No","defaultmessage":)" +
                R"({"messagename":"X.No","payload":""}},{"id":"y","text":"Yes","default":true,"defaultmessage":)" +
                R"({"messagename":"X.Yes","payload":"\u001b[2J"}}]}})",
            true);
        return Platform::nativePath(file);
    }
    const std::string store = Platform::nativePath(inFolder(u"settings.json"));
};

TEST_F(ProcessTest, TheCardOnATerminalIsDrawnAnewAndHeedsItsKeysAlone) {
    Process show({"show", "--store", store, alert()});
    ASSERT_TRUE(show.shows("closes in")) << show.seen;
    show.resize(12, 60);
    EXPECT_TRUE(show.shows("closes in 59:")) << "at once, in the new size";
    show.type("x0\x1B[15~");
#ifndef __SANITIZE_THREAD__  // which keeps a signal until the thread that it went to wakes
    show.type("\x1A");
    EXPECT_TRUE(show.stops());
    EXPECT_TRUE(show.shows("\x1B[?1049l")) << "the terminal is left in order";
    show.signal(SIGCONT);
    EXPECT_TRUE(show.shows("\x1B[?1049h"));
    EXPECT_TRUE(show.shows("closes in"));
#endif
    show.type("\r");
    EXPECT_EQ(show.end(), exitDone) << show.seen;
    EXPECT_NE(show.seen.find("chosen was \"Yes\" (X.Yes \u241B[2J)"), std::string::npos) << show.seen;
    EXPECT_EQ(show.seen.find("\x1B[2J"), std::string::npos);

    Process second({"show", "--store", store, alert()});
    ASSERT_TRUE(second.shows("closes in")) << second.seen;
    second.type("\x1B");
    EXPECT_EQ(second.end(), exitDismissed) << second.seen;
}

TEST_F(ProcessTest, AHostThatIsAskedToEndWaitsNeitherForAlertsNorForPlugins) {
    Process host({"host", "--store", store, "--answer", "timeout", alert()});
    ASSERT_TRUE(host.shows("[1] No")) << host.seen;
    EXPECT_TRUE(host.shows("  log  ")) << host.seen << "\nas it is written";
    host.signal(SIGTERM);
    EXPECT_EQ(host.end(), exitDone) << host.seen << "\nalthough the alert has an hour";

    ASSERT_EQ(Process({"settings", "set", "--store", store, "Brevant/Product/Hangs",
                       R"j({"pluginFile":"HangingPlugin.dll","pluginPath":"$(App.Folder)"})j"})
                  .end(),
              exitDone);
    Process stuck({"host", "--store", store, "--answer=dismiss", "--grace=1", alert("Hangs")});
    ASSERT_TRUE(stuck.shows("serving")) << stuck.seen;
    stuck.signal(SIGTERM);
    EXPECT_EQ(stuck.end(), exitHeld) << stuck.seen;
    EXPECT_NE(stuck.seen.find("left without waiting any longer for \"a\", instance 1 (with its plugin)"),
              std::string::npos)
        << stuck.seen;

    Process impatient({"host", "--store", store, "--answer=dismiss", "--grace=600", alert("Hangs")});
    ASSERT_TRUE(impatient.shows("serving")) << impatient.seen;
    impatient.signal(SIGTERM);
    impatient.signal(SIGINT);
    EXPECT_NE(impatient.end(), exitDone) << impatient.seen;
}

TEST_F(ProcessTest, AFullDiskChangesNoSettingAndLeavesNothingBehind) {
    const std::u16string path = inFolder(u"full\\settings.json");
    SettingsStore settings(path);
    EXPECT_EQ(settings.open(), u"");
    EXPECT_EQ(settings.set({{u"a", u"1"}}), std::vector{true});
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{100, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const auto outcomes = settings.set({{u"a", std::u16string(1000, u'x')}, {u"gone", u"2", true}});
    const bool passing = settings.set({{u"passing", u"3", true}}).front();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(outcomes, (std::vector{false, false}));
    EXPECT_TRUE(passing) << "is not for the disk";
    EXPECT_EQ(settings.get(u"a"), u"1");
    const auto inFull = std::filesystem::directory_iterator(folder.path() / "full");
    EXPECT_EQ(
        std::ranges::count_if(inFull, [](const auto& file) { return file.path().extension() == ".tmp"; }), 0);
    SettingsStore later(path);
    EXPECT_EQ(later.open(), u"");
    EXPECT_EQ(later.get(u"a"), u"1");
}

}  // namespace
}  // namespace Host
