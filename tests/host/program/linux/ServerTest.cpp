// The host with a server of its own, and the other commands as processes that find it.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "host/bus/nats/ConnectionFile.h"
#include "host/program/HostFixture.h"
#include "host/program/connection/HostStatus.h"
#include "host/program/linux/TerminalProcess.h"
#include "host/program/output/ExitCode.h"
#include "platform/Files.h"
#include "support/NatsServer.h"
#include "text/Utf.h"

namespace Host {
namespace {

using Process = TerminalProcess;
using MessageBus::ConnectionFile;

class ServerTest : public HostTest {
protected:
    void SetUp() override { unsetenv("BREVANT_BUS"); }

    std::string alert(const std::string& id, const std::string& timeout = "3600") const {
        const std::u16string file = inFolder(Ferrow::toUtf16(id) + u".json");
        Platform::appendToFile(
            file,
            R"({"id":")" + id + R"(","priority":"P1","product":"Example","source":"web","timeout":)" +
                timeout + R"(,"forcePreferredViewer":true,"context":{"title":")" + id +
                R"(","category":"update","defaultcontent":"Text","actions":[{"id":"n","text":"No",)" +
                R"("defaultmessage":{"messagename":"X.No","payload":""}}]}})",
            true);
        return Platform::nativePath(file);
    }
    // The program's whole output, of a command that ends by itself.
    static std::string outputOf(std::vector<std::string> arguments) {
        Process process(std::move(arguments));
        process.end();
        return process.seen;
    }
    static ConnectionFile::Content found() { return ConnectionFile().read().content; }
    std::vector<std::string> host() const { return {"host", "--server", "--store", store}; }

    const std::string store = Platform::nativePath(inFolder(u"settings.json"));
};

// Somebody who speaks to the server without the library.
class Stranger {
public:
    Stranger(const std::string& url, const MessageBus::Credentials& as)
        : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        const auto port = static_cast<uint16_t>(std::stoul(url.substr(url.rfind(':') + 1)));
        sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
        EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        send(R"(CONNECT {"verbose":false,"headers":true,"no_responders":true,"user":")" + as.user +
             R"(","pass":")" + as.password + "\"}");
    }
    ~Stranger() { close(socket_); }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

    // What the server says to a line.
    std::string said(const std::string& line) {
        send(line);
        send("PING");
        std::string answer;
        char buffer[4096];
        for (ssize_t count = 1; count > 0 && answer.find("PONG\r\n") == answer.npos;) {
            count = recv(socket_, buffer, sizeof buffer, 0);
            answer.append(buffer, static_cast<size_t>(std::max<ssize_t>(count, 0)));
        }
        return answer;
    }

private:
    void send(const std::string& line) {
        const std::string bytes = line + "\r\n";
        ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    int socket_;
};

TEST_F(ServerTest, TheOtherCommandsFindIt) {
    Process host(this->host());
    ASSERT_TRUE(host.shows("serving")) << host.seen;
    const std::string process = "process " + std::to_string(found().host);
    for (const auto& second : {this->host(), {"host", "--store", store}}) {
        Process refused(second);
        EXPECT_EQ(refused.end(), exitRefused);
        EXPECT_NE(refused.seen.find(process), std::string::npos) << refused.seen;
    }
    EXPECT_EQ(Process({"host", "--server", "--bus", "embedded"}).end(), exitBadInput);

    Process watch({"watch", "X\\..+|Brevant\\.Viewer\\.console\\.Show\\..+"});
    ASSERT_TRUE(watch.shows("watching")) << watch.seen;
    Process viewer({"viewer", "--answer", "1"});
    ASSERT_TRUE(viewer.shows("registered")) << viewer.seen;
    Process show({"show", alert("one"), alert("two")});
    EXPECT_EQ(show.end(), exitDone) << show.seen;
    EXPECT_EQ(show.seen.find("not allow"), std::string::npos) << show.seen;
    EXPECT_TRUE(watch.shows(" ? Brevant.Viewer.console.Show.1  [Brevant]")) << watch.seen;
    EXPECT_TRUE(watch.shows(" ms")) << watch.seen;
    EXPECT_TRUE(watch.shows("X.No  [ConsoleViewer]")) << watch.seen;

    // Its end, however it comes, is the server's.
    const uint32_t server = found().server;
    EXPECT_TRUE(Platform::processExists(server));
    host.signal(SIGTERM);
    EXPECT_EQ(host.end(), exitDone);
    EXPECT_FALSE(Platform::processExists(server));
    EXPECT_EQ(ConnectionFile().read().state, ConnectionFile::State::absent);
    EXPECT_TRUE(viewer.shows("host is gone")) << viewer.seen;
    viewer.signal(SIGTERM);
    EXPECT_EQ(viewer.end(), exitDone);
    EXPECT_EQ(viewer.seen.find("not allow"), std::string::npos) << viewer.seen;
    watch.signal(SIGINT);
    EXPECT_EQ(watch.end(), exitDone);
}

TEST_F(ServerTest, WhoIsConnectedFindsItAgainWhateverIsKilled) {
    Process host(this->host());
    ASSERT_TRUE(host.shows("serving")) << host.seen;
    Process viewer({"viewer", "--answer", "timeout"});
    ASSERT_TRUE(viewer.shows("registered")) << viewer.seen;
    const ConnectionFile::Content before = found();
    kill(static_cast<pid_t>(before.server), SIGKILL);
    EXPECT_TRUE(host.shows("runs again")) << host.seen;
    EXPECT_EQ(Process({"show", alert("short", "1")}).end(), exitTimedOut);

    Process waiting({"show", alert("long"), alert("queued")});
    EXPECT_TRUE(Support::eventually(
        [] { return outputOf({"status"}).find("1 on screen, 1 waiting") != std::string::npos; }));
    host.signal(SIGKILL);
    EXPECT_EQ(host.end(), -SIGKILL);
    EXPECT_TRUE(viewer.shows("host is gone")) << viewer.seen;
    EXPECT_TRUE(waiting.shows("host is gone")) << waiting.seen;
    Process next(this->host());
    ASSERT_TRUE(next.shows("serving")) << next.seen;
    EXPECT_EQ(found().url, before.url);
    EXPECT_EQ(waiting.end(), exitLost) << waiting.seen;
    EXPECT_NE(waiting.seen.find("its viewer gave it up"), std::string::npos) << waiting.seen;
    EXPECT_TRUE(viewer.shows("registered")) << viewer.seen;
    EXPECT_EQ(Process({"show", alert("next", "1")}).end(), exitTimedOut);
}

TEST_F(ServerTest, AViewerThatIsKilledIsForgottenAndKeepsNobodyWaiting) {
    Process host(this->host());
    ASSERT_TRUE(host.shows("serving")) << host.seen;
    Process viewer({"viewer", "--answer", "timeout"});
    ASSERT_TRUE(viewer.shows("registered")) << viewer.seen;
    Process show({"show", alert("held", "1")});
    ASSERT_TRUE(viewer.shows("held")) << viewer.seen;
    viewer.signal(SIGKILL);
    const auto killed = std::chrono::steady_clock::now();
    EXPECT_TRUE(Support::eventually(
        [&] { return outputOf({"status"}).find("viewers   none") != std::string::npos; }));
    EXPECT_LT(std::chrono::steady_clock::now() - killed, std::chrono::seconds(5));
    Process late({"show", alert("late")});
    EXPECT_EQ(late.end(), exitSuppressed) << late.seen;
}

TEST_F(ServerTest, OfSeveralThatStartAtOnceOneServes) {
    const Support::NatsServer server;
    for (const std::vector<std::string>& bus :
         {std::vector<std::string>{"--server"}, {"--bus", server.url()}}) {
        std::vector<std::string> arguments{"host", "--store", store};
        arguments.insert(arguments.end(), bus.begin(), bus.end());
        std::vector<std::unique_ptr<Process>> hosts;
        for (int count = 0; count < 4; ++count)
            hosts.push_back(std::make_unique<Process>(arguments));
        size_t serving = 0;
        for (const auto& each : hosts) {
            if (each->shows("\n") && each->seen.find("runs already") == std::string::npos)
                serving += each->shows("serving") ? 1 : 0;
            else
                EXPECT_EQ(each->end(), exitRefused) << each->seen;
        }
        EXPECT_EQ(serving, 1u) << bus.front();
    }
}

TEST_F(ServerTest, OfTwoThatServeOneLeavesOnceTheyHearOfEachOther) {
    Support::NatsServer server;
    server.kill();
    const std::vector<std::string> arguments{"host", "--store", store, "--bus", server.url()};
    Process first(arguments);
    ASSERT_TRUE(first.shows("serving")) << first.seen;
    Process second(arguments);
    ASSERT_TRUE(second.shows("serving")) << "as far as it knows";
    server.restart();
    EXPECT_EQ(second.end(), exitRefused) << second.seen;
    first.signal(SIGTERM);
    EXPECT_EQ(first.end(), exitDone) << first.seen;
}

TEST_F(ServerTest, LetsEveryRoleDoWhatIsItsOwn) {
    Process host(this->host());
    ASSERT_TRUE(host.shows("serving")) << host.seen;
    const std::string url = found().url;
    const auto as = [&](const char* role) { return ConnectionFile().readCredentials(role).value(); };
    EXPECT_NE(Stranger(url, {}).said("PUB mb.X 0\r\n").find("Authorization Violation"), std::string::npos);
    EXPECT_NE(Stranger(url, {"viewer", as("product").password}).said("").find("Authorization Violation"),
              std::string::npos);

    struct Case {
        const char* role;
        std::vector<const char*> allowed, denied;
    };
    const Case cases[] = {
        {"viewer",
         {"PUB mb.Brevant.Alert.id.Dismissed.1", "PUB mb.Brevant.Alert.id.with.dots.Failed.1",
          "PUB mb.Example.Restart", "PUB mq.SETTINGS_MANAGER_SET_PROPERTY _INBOX_viewer.1.2",
          "SUB mq.Brevant.Viewer.mine.Show.>", "SUB _INBOX_viewer.1.>"},
         {"PUB mb.SettingsManager.Notify.Set.Brevant/Viewer/mine", "PUB mb.SETTINGS_MANAGER_PROPERTY_SET",
          "PUB mb.Brevant.Alert.id.Queued.1", "PUB mb.Brevant.Alert.id.with.dots.Suppressed.1",
          "PUB mb.SystemMonitor.UserSession.Logoff", "PUB mb.Brevant.Viewer.mine.Registered",
          "PUB mq.Brevant.Alert.Show.1 _INBOX_viewer.1.2",
          "PUB mq.Brevant.Viewer.other.Show.1 _INBOX_viewer.1.2", "PUB _INBOX_product.1.2",
          "PUB _INBOX_host.1.2", "PUB mc.pattern", "PUB mc.observer", "SUB mq.SETTINGS_MANAGER_SET_PROPERTY",
          "SUB mq.Brevant.Alert.>", "SUB mb.>", "SUB mp.>", "SUB _INBOX_product.>", "SUB >"}},
        {"product",
         {"PUB mq.Brevant.Alert.Show.1 _INBOX_product.1.2", "PUB mb.Brevant.Alert.Show.1",
          "SUB mb.Brevant.Alert.id.Dismissed.1", "SUB mq.Example.Restart"},
         {"PUB mb.SettingsManager.Notify.Delete.Brevant/Viewer/mine", "PUB mb.Brevant.Alert.id.Dismissed.1",
          "PUB mq.SETTINGS_MANAGER_SET_PROPERTY _INBOX_product.1.2",
          "PUB mp.0.SETTINGS_MANAGER_SET_PROPERTY _INBOX_product.1.2",
          "PUB mq.Brevant.Viewer.mine.Show.1 _INBOX_product.1.2",
          "PUB mq.Brevant.Host.Claim _INBOX_product.1.2", "PUB _INBOX_viewer.1.2", "PUB mc.pattern",
          "SUB mq.SETTINGS_MANAGER_GET_PROPERTY", "SUB mq.Brevant.Alert.Show.>", "SUB _INBOX_viewer.>",
          "SUB mo.>"}},
        {"watcher",
         {"SUB mb.>", "SUB mo.>", "PUB mc.observer"},
         {"PUB mb.X", "PUB mq.Brevant.Alert.Show.1 _INBOX_watcher.1.2", "PUB mc.pattern", "SUB mq.>"}},
    };
    for (const Case& each : cases) {
        Stranger stranger(url, as(each.role));
        const auto complaint = [&](std::string line) {
            line += line.starts_with("PUB") ? " 0\r\n" : " 1";
            return stranger.said(line).find("Permissions Violation") != std::string::npos;
        };
        for (const char* line : each.allowed)
            EXPECT_FALSE(complaint(line)) << each.role << ": " << line;
        for (const char* line : each.denied)
            EXPECT_TRUE(complaint(line)) << each.role << ": " << line;
    }
    // What is no message of the bus ends at the library.
    Stranger viewer(url, as("viewer"));
    viewer.said("PUB mb.Brevant.Alert.id.Dismissed.1 7\r\ngarbage");
    Process status({"status"});
    EXPECT_EQ(status.end(), exitDone) << status.seen;
}

}  // namespace
}  // namespace Host
