// What only the bus over a server has: connections of several processes, each a copy of the library.
#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <brevant/library.h>

#include "host/bus/nats/BusObserver.h"
#include "host/bus/nats/Subject.h"
#include "host/bus/nats/WireMessage.h"
#include "platform/Files.h"
#include "support/Beside.h"
#include "support/BusPeer.h"
#include "support/NatsServer.h"
#include "support/ProcessCounts.h"

namespace {

using namespace std::chrono_literals;
using MessageBus::WireKind;
using MessageBus::WireMessage;
using Support::BusMessage;
using Support::BusPeer;
using Support::eventually;
using Support::MessageLog;
using Support::NatsServer;

// The bus library as another process has it.
class Process {
public:
    explicit Process(const std::string& url) {
        setenv("BREVANT_BUS", url.c_str(), 1);
        static int count = 0;
        folder_ = std::filesystem::temp_directory_path() /
                  ("brevant-bus-" + std::to_string(getpid()) + "-" + std::to_string(++count));
        std::filesystem::create_directory(folder_);
        const auto copy = folder_ / "MessageBus.dll";
        std::filesystem::copy_file(Platform::nativePath(beside(u"MessageBus.dll")), copy);
        library_.emplace(Platform::portablePath(copy.string()));
        const auto create = library_->function<BrevantCreateObject>(BREVANT_EXPORT_CREATE_OBJECT);
        functions_ = static_cast<const BrevantBusFunctions*>(create(BREVANT_BUS_VERSION));
        status_ = functions_->acquireHandle(&handle_);
    }
    ~Process() {
        if (status_ == MODULE_STATUS_SUCCESS)
            functions_->releaseHandle(handle_);
        library_.reset();
        std::filesystem::remove_all(folder_);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    operator const BrevantBusFunctions*() const { return functions_; }
    uint32_t status() const { return status_; }

private:
    std::filesystem::path folder_;
    std::optional<Support::LoadedLibrary> library_;
    const BrevantBusFunctions* functions_ = nullptr;
    BrevantBusHandle handle_ = nullptr;  // keeps the connection
    uint32_t status_ = 0;
};

// Answers every request of the names with its payload.
struct Answerer : BusPeer {
    Answerer(const BrevantBusFunctions* functions, const std::u16string& pattern) : BusPeer(functions) {
        onPattern(pattern,
                  [this](const BusMessage& m) { return reply(m, m.name + u".Response", m.payload); });
    }
};

// The server has taken what the process has subscribed to so far.
void settle(const BrevantBusFunctions* process) {
    MessageLog log({u"Settled"}, process);
    EXPECT_EQ(BusPeer(process).publish(u"Settled"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.waitFor(u"Settled"));
}

std::u16string number(size_t value) {
    const std::string digits = std::to_string(value);
    return {digits.begin(), digits.end()};
}

// A connection of a foreign client, or of one that the test's own server has accepted.
class Wire {
public:
    explicit Wire(uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
        EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    static Wire accepted(int listener) { return Wire(accept(listener, nullptr, nullptr), true); }
    Wire(Wire&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    ~Wire() { close(socket_); }
    void send(const std::string& bytes) { ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    // Until that has come, or the other side has gone.
    std::string readUntil(const std::string& text) {
        char buffer[4096];
        while (received_.find(text) == received_.npos) {
            const ssize_t count = recv(socket_, buffer, sizeof buffer, 0);
            if (count <= 0)
                return {};
            received_.append(buffer, static_cast<size_t>(count));
        }
        return std::exchange(received_, {});
    }
    void publish(const std::string& subject, const std::string& reply, const std::string& payload) {
        send("PUB " + subject + " " + reply + " " + std::to_string(payload.size()) + "\r\n" + payload +
             "\r\n");
    }

private:
    Wire(int socket, bool) : socket_(socket) {}
    int socket_;
    std::string received_;
};

std::string wireBytes(WireKind kind, std::u16string_view name, std::u16string_view payload = u"") {
    WireMessage message;
    message.kind = kind;
    message.name = MessageBus::bytesOf(name);
    message.payload = MessageBus::bytesOf(payload);
    std::string bytes;
    message.appendTo(bytes);
    return bytes;
}

TEST(NatsBus, CarriesNamesOfAnyCharactersAndLength) {
    const NatsServer server;
    const Process one(server.url()), other(server.url());
    const std::u16string names[] = {u"Plain.Name",
                                    u"with blank\r\nPUB x 0",
                                    u"*",
                                    u"a.>",
                                    u"..",
                                    u".a.",
                                    u"",
                                    u"\xD800 lone.\xDC00",
                                    u"\xD83D\xDE00.\xE9\x20AC",
                                    u"{1}.%E.%45",
                                    std::u16string(1'000'000, u'x'),
                                    u"head." + std::u16string(5000, u'.')};
    std::deque<BusPeer> exact;
    for (const std::u16string& name : names) {
        BusPeer& peer = exact.emplace_back(other);
        peer.onName(name, [&](const BusMessage& m) {
            return m.header.flags & BREVANT_MESSAGE_REPLY_REQUESTED ? peer.reply(m, u"Response", m.name)
                                                                    : MODULE_STATUS_SUCCESS;
        });
    }
    settle(other);
    BusPeer publisher(one);
    for (const std::u16string& name : names) {
        BusMessage reply;
        EXPECT_EQ(publisher.request(name, u"", reply), MODULE_STATUS_SUCCESS) << name.size();
        EXPECT_EQ(reply.payload, name);
        EXPECT_EQ(publisher.request(name + u"?", u"", reply, 5s), MODULE_STATUS_NO_SUBSCRIBERS);
    }
    // They match all but line ends.
    MessageLog all({u".*"}, other), head({u"head\\..+"}, other);
    settle(other);
    for (const std::u16string& name : names)
        EXPECT_EQ(publisher.publish(name), MODULE_STATUS_SUCCESS);
    for (const std::u16string& name : names)
        EXPECT_TRUE(name.find(u'\n') != name.npos || all.waitFor(name)) << name.size();
    EXPECT_TRUE(head.waitFor(std::end(names)[-1]));
    EXPECT_EQ(head.all().size(), 1u);
}

TEST(NatsBus, FindsWhoeverAnnouncesAPatternAndNobodyWhenHeIsGone) {
    const NatsServer server;
    const Process one(server.url());
    BusPeer requester(one);
    BusMessage reply;
    {
        const Process other(server.url());
        const Answerer answerer(other, u"Ask\\.(A|B)\\.[0-9]+");
        // An announcement that has not come yet is waited for.
        EXPECT_TRUE(
            eventually([&] { return requester.request(u"Ask.A.1", u"x", reply) == MODULE_STATUS_SUCCESS; }));
        EXPECT_EQ(reply.payload, u"x");
        EXPECT_EQ(requester.request(u"Ask.C.1", u"", reply), MODULE_STATUS_NO_SUBSCRIBERS);
    }
    EXPECT_EQ(requester.request(u"Ask.A.1", u"", reply), MODULE_STATUS_NO_SUBSCRIBERS);
}

TEST(NatsBus, EndsARequestThatAllRefuseAndWaitsForOneThatMayStillAnswer) {
    const NatsServer server;
    const Process one(server.url()), refusing(server.url()), late(server.url());
    BusPeer requester(one), first(refusing), second(late);
    const auto refuse = [](const BusMessage&) { return MODULE_STATUS_DATA_ERROR; };
    first.onPattern(u"Ask\\..+", refuse);
    second.onName(u"Ask.Twice", refuse);
    second.onName(u"Ask.Late", [&](const BusMessage& m) {
        // When this has been answered the other one's refusal has come as well.
        BusMessage answer;
        EXPECT_EQ(second.request(u"Ask.First", u"", answer), MODULE_STATUS_DATA_ERROR);
        return second.reply(m, u"Ask.Late.Response");
    });
    settle(refusing);
    settle(late);
    BusMessage reply;
    EXPECT_EQ(requester.request(u"Ask.Once", u"", reply), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(requester.request(u"Ask.Twice", u"", reply), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(requester.request(u"Ask.Late", u"", reply), MODULE_STATUS_SUCCESS);
}

TEST(BusObserver, IsShownWhatPassesAndCountsForNobody) {
    const NatsServer server;
    const Process one(server.url()), other(server.url());
    const Answerer answerer(other, u"Ask\\.(A|B)");
    BusPeer peer(one), refusing(other);
    refusing.onName(u"Ask.No", [](const BusMessage&) { return MODULE_STATUS_DATA_ERROR; });
    settle(other);
    struct Shown : Support::Monitor {
        std::vector<MessageBus::Observed> all;
        const MessageBus::Observed* find(WireKind kind, std::u16string_view name) const {
            const auto at =
                std::ranges::find_if(all, [&](const auto& o) { return o.kind == kind && o.name == name; });
            return at == all.end() ? nullptr : &*at;
        }
    } shown;
    std::u16string why;
    MessageBus::BusObserver observer(
        *MessageBus::ServerAddress::parse(server.url(), why), u"Ask\\..+",
        [&](const MessageBus::Observed& observed) { shown.locked([&] { shown.all.push_back(observed); }); });
    ASSERT_TRUE(observer.waitUntilOpen(Support::patience));
    BusMessage reply;
    // Its announcement has come when it is shown something.
    EXPECT_TRUE(eventually([&] {
        EXPECT_EQ(peer.request(u"Ask.A", u"one", reply), MODULE_STATUS_SUCCESS);
        return shown.locked([&] { return shown.find(WireKind::request, u"Ask.A") != nullptr; });
    }));
    EXPECT_EQ(peer.request(u"Ask.Nobody", u"", reply), MODULE_STATUS_NO_SUBSCRIBERS);
    EXPECT_EQ(peer.request(u"Ask.No", u"", reply), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(peer.publish(u"Other.1"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(peer.publish(u"Ask.Plain", u"two"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(shown.comes([&] { return shown.find(WireKind::message, u"Ask.Plain"); }));
    shown.locked([&] {
        const auto* const request = shown.find(WireKind::request, u"Ask.A");
        ASSERT_TRUE(request);
        EXPECT_EQ(request->payload + request->sender, u"onePeer");
        EXPECT_TRUE(std::ranges::any_of(shown.all, [&](const auto& each) {
            return each.kind == WireKind::reply && each.name == u"Ask.A.Response" &&
                   each.process == request->process && each.request == request->request;
        }));
        std::vector<uint32_t> refusals;
        for (const auto& each : shown.all)
            if (each.kind == WireKind::refusal)
                refusals.push_back(each.value);
        EXPECT_EQ(refusals, (std::vector{MODULE_STATUS_NO_SUBSCRIBERS, MODULE_STATUS_DATA_ERROR}));
        EXPECT_FALSE(shown.find(WireKind::message, u"Other.1"));
    });
}

// Two publishers of another process whose messages must come whole, in order, and once.
class Flow {
public:
    Flow(const BrevantBusFunctions* from, const BrevantBusFunctions* to) : receiver_(to) {
        receiver_.onPattern(u"Flow\\..+", [this](const BusMessage& m) {
            std::lock_guard lock(mutex_);
            auto& next = next_[m.name];
            EXPECT_EQ(m.payload, number(next));
            ++next;
            ++received_;
            return MODULE_STATUS_SUCCESS;
        });
        settle(to);
        for (const auto* name : {u"Flow.A", u"Flow.B"})
            threads_.emplace_back([this, from, name] {
                BusPeer publisher(from);
                size_t i = 0;
                for (; !ends_; ++i) {
                    while (publisher.publish(name, number(i)) != MODULE_STATUS_SUCCESS)
                        std::this_thread::yield();
                    // A few ahead of what has come: what fills the server's buffers goes with it.
                    while (i > received_ / 2 + 400 && !ends_)
                        std::this_thread::yield();
                }
                sent_ += i;
            });
    }
    ~Flow() {
        ends_ = true;
        for (std::thread& thread : threads_)
            thread.join();
        EXPECT_TRUE(eventually([&] { return received_ >= sent_; }));
        EXPECT_EQ(received_, sent_);
    }
    bool goesOn() {
        const size_t before = received_;
        return eventually([&] { return received_ > before + 500; });
    }

private:
    std::mutex mutex_;
    std::map<std::u16string, size_t> next_;
    std::atomic<size_t> received_{0}, sent_{0};
    std::atomic<bool> ends_{false};
    std::vector<std::thread> threads_;
    BusPeer receiver_;
};

TEST(NatsBus, LosesAndRepeatsNothingWhenTheServerIsKilledAndStartedAgain) {
    NatsServer server;
    const Process one(server.url()), other(server.url());
    const Answerer answerer(other, u"Ask");
    BusPeer requester(one);
    BusMessage reply;
    Flow flow(one, other);
    for (int kill = 0; kill < 3; ++kill) {
        EXPECT_TRUE(flow.goesOn());
        server.kill();
        EXPECT_TRUE(eventually(
            [&] { return requester.request(u"Ask", u"", reply, 10ms) == MODULE_STATUS_NO_SUBSCRIBERS; }));
        server.restart();
        EXPECT_TRUE(
            eventually([&] { return requester.request(u"Ask", u"", reply) == MODULE_STATUS_SUCCESS; }));
        EXPECT_TRUE(flow.goesOn());
    }
}

TEST(NatsBus, LosesAndRepeatsNothingWhenTheServerStandsStill) {
    NatsServer server;
    const Process one(server.url()), other(server.url());
    BusPeer requester(one);
    BusMessage reply;
    Flow flow(one, other);
    EXPECT_TRUE(flow.goesOn());
    server.freeze(true);
    // Once it is found out.
    EXPECT_TRUE(eventually(
        [&] { return requester.request(u"Ask", u"", reply, 10ms) == MODULE_STATUS_NO_SUBSCRIBERS; }));
    server.freeze(false);
    EXPECT_TRUE(flow.goesOn());
}

TEST(NatsBus, KeepsWhatIsPublishedBeforeTheServerIsThere) {
    NatsServer server;
    server.kill();
    const Process one(server.url()), other(server.url());
    EXPECT_EQ(one.status(), MODULE_STATUS_SUCCESS);
    MessageLog log({u"Early\\..+"}, other);
    BusPeer publisher(one);
    BusMessage reply;
    EXPECT_EQ(publisher.request(u"Early.0", u"", reply), MODULE_STATUS_NO_SUBSCRIBERS);
    for (size_t i = 1; i <= 100; ++i)
        EXPECT_EQ(publisher.publish(u"Early." + number(i)), MODULE_STATUS_SUCCESS);
    server.restart();
    const auto received = log.all(100);
    ASSERT_EQ(received.size(), 100u);
    for (size_t i = 1; i <= 100; ++i)
        EXPECT_EQ(received[i - 1].name, u"Early." + number(i));
}

TEST(NatsBus, SaysWhatTheServerRefuses) {
    const NatsServer server(
        "max_payload: 100KB\naccounts { APP { users = [ {user: all, password: a},\n"
        "{user: \"v w\", password: \"p\\\"w\", permissions: {publish: [\"mb.Mine.>\"], subscribe: "
        "[\"_INBOX_v%20w.>\", \"mb.Mine.>\"]}} ] } }\n");
    testing::internal::CaptureStderr();
    {
        const Process wrong(server.url("all:b"));
        BusPeer peer(wrong);
        BusMessage reply;
        EXPECT_EQ(peer.request(u"Ask", u"", reply), MODULE_STATUS_NO_SUBSCRIBERS);
    }
    const std::string refused = testing::internal::GetCapturedStderr();
    EXPECT_NE(refused.find("refuses the user \"all\" or the password"), refused.npos) << refused;
    EXPECT_EQ(refused.find("password or"), refused.npos);

    const Process all(server.url("all:a")), limited(server.url("v%20w:p%22w"));
    const Answerer answerer(all, u"Ask");
    MessageLog log({u"Mine\\..+", u"Theirs\\..+"}, all);
    settle(all);
    BusPeer peer(limited), publisher(all);
    BusMessage reply;
    EXPECT_EQ(peer.request(u"Ask", u"", reply), MODULE_STATUS_APP_SERVICE_UNAUTHORIZED);
    EXPECT_EQ(peer.publish(u"Theirs.1"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(peer.publish(u"Mine.1", std::u16string(60'000, u'x')), MODULE_STATUS_INVALID_BUFFER_SIZE);
    EXPECT_EQ(peer.publish(u"Mine.2"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.waitFor(u"Mine.2"));
    EXPECT_EQ(log.all().size(), 1u);
    EXPECT_EQ(publisher.request(u"Ask", u"", reply), MODULE_STATUS_SUCCESS);
}

TEST(NatsBus, IsNoneWhereTheChoiceCannotBeUnderstood) {
    for (const char* value :
         {"nats", "nats://", "nats://10.0.0.1:4222", "nats://127.0.0.1", "nats://127.0.0.1:x",
          "tcp://127.0.0.1:1", "nats://u%G:p@127.0.0.1:1", "nats://127.0.0.1.x:1"}) {
        const Process process(value);
        EXPECT_EQ(process.status(), MODULE_STATUS_INVALID_PARAMETER) << value;
        const MessageHeader header = Support::plainHeader();
        EXPECT_EQ(process.operator const BrevantBusFunctions*()->publish(nullptr, &header, u"", u"", u""),
                  MODULE_STATUS_INVALID_HANDLE);
    }
    EXPECT_EQ(Process("embedded").status(), MODULE_STATUS_SUCCESS);
}

TEST(NatsBus, LeavesAServerThatSpeaksNonsenseAndTriesAgain) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(listener, 8), 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    std::thread server([&] {
        const std::string greeting = "INFO {\"max_payload\":1000}\r\n", open = greeting + "PONG\r\n";
        const std::string nonsense[] = {"HTTP/1.1 400\r\n\r\n",
                                        std::string(100'000, 'x'),
                                        "INFO {\r\n",
                                        "INFO {\"tls_required\":true}\r\n",
                                        open + "MSG a 1 -5\r\n",
                                        open + "MSG a 1 99999999999999999999\r\n",
                                        open + "MSG a 1 4\r\nabcdefgh\r\n",
                                        open + "HMSG a 1 9 4\r\nabcd\r\n",
                                        open + "MSG a b c d e\r\n",
                                        open + "-ERR 'Unknown Protocol'\r\n"};
        for (const std::string& bytes : nonsense) {
            Wire wire = Wire::accepted(listener);
            wire.send(bytes);
            wire.readUntil("never");  // until it has gone
        }
        // What is split anywhere is put together.
        Wire wire = Wire::accepted(listener);
        wire.send(greeting);
        wire.readUntil("PING");
        for (const char unit : std::string("PONG\r\nMSG x 1 3\r\nabc\r\nPING\r\n"))
            wire.send(std::string(1, unit));
        EXPECT_NE(wire.readUntil("PONG\r\n"), "");
    });
    {
        const Process process("nats://127.0.0.1:" + std::to_string(ntohs(address.sin_port)));
        server.join();
    }
    close(listener);
}

TEST(NatsBus, BearsForeignClientsAndTheirGarbage) {
    const NatsServer server;
    const Process process(server.url());
    MessageLog log({u"News\\..+"}, process);
    const Answerer answerer(process, u"Ask\\..+");
    settle(process);
    BusPeer requester(process);
    Wire foreign(server.port());
    foreign.send("CONNECT {\"verbose\":false}\r\nSUB inbox 1\r\nSUB mq.Foreign 2\r\nPING\r\n");
    foreign.readUntil("PONG");
    const std::string good = wireBytes(WireKind::message, u"News.1", u"here");
    std::string longer = good, magic = good, version = good;
    longer[44] = '\x7F';
    longer[47] = '\x7F';
    magic[0] = 'X';
    version[4] = 9;
    for (const char* subject :
         {"mb.News.1", "mq.News.1", "mq.Ask.1", "mc.join", "mc.list", "mc.census", "mc"})
        for (const std::string& payload :
             {std::string(), std::string("garbage"), longer, magic, version, good.substr(0, 164), good + "x",
              wireBytes(WireKind{77}, u"News.1"), wireBytes(WireKind::message, u"News.Other"),
              wireBytes(WireKind::message, std::u16string_view(u"News.1\0", 7)),
              wireBytes(WireKind::addPattern, u"(((")})
            for (const char* reply : {"", "inbox.garbage"})
                foreign.publish(subject, reply, payload);
    foreign.publish("mb.News.1", "", good);
    foreign.publish("mq.Ask.1", "inbox", wireBytes(WireKind::request, u"Ask.1", u"what"));
    // Its answer, with the whole name in it.
    const std::string answer = foreign.readUntil(std::string(MessageBus::bytesOf(u"what")));
    EXPECT_NE(answer.find("MSG inbox 1"), answer.npos);
    ASSERT_TRUE(log.waitFor(u"News.1"));
    EXPECT_EQ(log.all().size(), 1u);

    std::thread answering([&] {
        const std::string request = foreign.readUntil("\r\nBMSG");
        const size_t at = request.find("_INBOX.");
        foreign.publish(request.substr(at, request.find(' ', at) - at), "",
                        wireBytes(WireKind::reply, u"Foreign.Response", u"yes"));
    });
    BusMessage reply;
    EXPECT_EQ(requester.request(u"Foreign", u"", reply), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(reply.payload, u"yes");
    answering.join();
}

TEST(NatsBus, HoldsThousandsOfHandlesOnOneConnectionAndLeavesNothing) {
    const NatsServer server;
    std::optional<Support::ProcessCounts> before;
    for (int round = 0; round < 3; ++round) {
        {
            const Process process(server.url());
            std::deque<BusPeer> peers;
            std::atomic<size_t> received{0};
            for (size_t i = 0; i < 2000; ++i)
                peers.emplace_back(process).onName(u"Handle." + number(i), [&](const BusMessage&) {
                    ++received;
                    return MODULE_STATUS_SUCCESS;
                });
            for (size_t i = 0; i < 2000; ++i)
                EXPECT_EQ(peers[1999 - i].publish(u"Handle." + number(i)), MODULE_STATUS_SUCCESS);
            EXPECT_TRUE(eventually([&] { return received == 2000; }));
        }
        BusPeer::forgetEnded();
        if (!before)
            before = Support::ProcessCounts::now();
    }
    const auto after = Support::ProcessCounts::now();
    EXPECT_LE(after.threads, before->threads);
    EXPECT_LE(after.handles, before->handles);
}

TEST(Subject, StandsForOneNameAlone) {
    using MessageBus::patternSubject;
    using MessageBus::subjectOf;
    EXPECT_EQ(subjectOf(u"A b.{1}/-_.\xE9.\xD83D\xDE00"), "A%20b.{1}/-_.%C3%A9.%F0%9F%98%80");
    EXPECT_EQ(subjectOf(u".\xD800.%E"), "%E.%uD800.%25E");
    const std::string cut = subjectOf(u"head." + std::u16string(4000, u'x'));
    EXPECT_TRUE(cut.starts_with("head.%L") && cut.size() == 23) << cut;
    const auto check = [](const char16_t* pattern, const char* subject, bool isWhole) {
        EXPECT_EQ(patternSubject(pattern).subject(), subject);
        EXPECT_EQ(patternSubject(pattern).isWhole, isWhole);
    };
    check(u"Brevant\\.Alert\\.Show\\..+", "Brevant.Alert.Show.>", true);
    check(u"A\\..*", "A.>", true);
    check(u"A\\.B\\.(C|D)", "A.B.>", false);
    check(u"A.B\\..+", ">", false);
    check(u"A|B\\..+", ">", false);
    check(u".*", ">", false);
}

}  // namespace
