// The program as a process: signals, a terminal, a full disk.
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/program/HostFixture.h"
#include "host/program/output/ExitCode.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace Host {
namespace {

// The program on a terminal of its own.
class Process {
public:
    explicit Process(std::vector<std::string> arguments) {
        const std::u16string test = Platform::executablePath();
        arguments.insert(arguments.begin(),
                         Platform::nativePath(test.substr(0, test.rfind(u'\\') + 1) + u"brevant"));
        // Nothing is allocated between fork and exec: another thread may hold the lock for that.
        std::vector<char*> words;
        for (std::string& argument : arguments)
            words.push_back(argument.data());
        words.push_back(nullptr);
        setenv("TERM", "xterm", 1);
        winsize size{};
        size.ws_row = 24;
        size.ws_col = 80;
        process_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (process_ == 0) {
            execv(words[0], words.data());
            _exit(127);
        }
    }
    ~Process() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
        close(terminal_);
    }

    // Reads until the text has come, since the last one that was waited for.
    bool shows(std::string_view text) {
        for (;;) {
            if (const size_t found = seen.find(text, from_); found != std::string::npos) {
                from_ = found + text.size();
                return true;
            }
            pollfd wait{terminal_, POLLIN, 0};
            char bytes[4096];
            if (poll(&wait, 1, 20000) <= 0)
                return false;
            const ssize_t count = read(terminal_, bytes, sizeof bytes);
            if (count <= 0)
                return false;
            seen.append(bytes, static_cast<size_t>(count));
        }
    }
    void type(std::string_view keys) const {
        EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void resize(unsigned short rows, unsigned short columns) const {
        winsize size{};
        size.ws_row = rows;
        size.ws_col = columns;
        ioctl(terminal_, TIOCSWINSZ, &size);
    }
    void signal(int number) const { kill(process_, number); }
    bool stops() { return changesState(WUNTRACED) && WIFSTOPPED(status_); }
    // The exit code, or the signal below zero; -1000 when it does not end.
    int end() {
        while (shows("\xFF")) {
        }
        if (!changesState(0))
            return -1000;
        process_ = 0;
        return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
    }

    std::string seen;

private:
    bool changesState(int options) {
        return Support::eventually(
            [&] { return waitpid(process_, &status_, options | WNOHANG) == process_; });
    }

    int status_ = 0;
    pid_t process_ = 0;
    int terminal_ = -1;
    size_t from_ = 0;
};

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
    show.type("\x1A");
    EXPECT_TRUE(show.stops());
    EXPECT_TRUE(show.shows("\x1B[?1049l")) << "the terminal is left in order";
    show.signal(SIGCONT);
    EXPECT_TRUE(show.shows("\x1B[?1049h"));
    EXPECT_TRUE(show.shows("closes in"));
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
