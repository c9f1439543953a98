// What only the bus over a server has: connections of several processes, each a copy of the library.
#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <future>
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
#include "support/BusProcess.h"
#include "support/NatsServer.h"
#include "support/ProcessCounts.h"

namespace {

using namespace std::chrono_literals;
using MessageBus::WireKind;
using MessageBus::WireMessage;
using Support::BusMessage;
using Support::BusPeer;
using Process = Support::BusProcess;
using Support::eventually;
using Support::MessageLog;
using Support::NatsServer;

// Answers every request of the names with its payload.
struct Answerer : BusPeer {
    Answerer(const BrevantBusFunctions* functions, const std::u16string& pattern) : BusPeer(functions) {
        onPattern(pattern,
                  [this](const BusMessage& m) { return reply(m, m.name + u".Response", m.payload); });
    }
};

std::u16string number(size_t value) {
    const std::string digits = std::to_string(value);
    return {digits.begin(), digits.end()};
}

// A connection of a foreign client, or of one that the test's own server has accepted.
class Wire {
public:
    explicit Wire(uint16_t port) : Wire(socket(AF_INET, SOCK_STREAM, 0), true) {
        sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
        EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    static Wire accepted(int listener) { return Wire(accept(listener, nullptr, nullptr), true); }
    Wire(Wire&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    ~Wire() { close(socket_); }
    void send(const std::string& bytes) { ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    // Until that has come, or the other side has gone or says nothing for long.
    std::string readUntil(const std::string& text) {
        char buffer[65536];
        size_t from = 0;
        while (received_.find(text, from) == received_.npos) {
            from = received_.size() - std::min(received_.size(), text.size());
            const ssize_t count = recv(socket_, buffer, sizeof buffer, 0);
            if (count <= 0)
                return {};
            received_.append(buffer, static_cast<size_t>(count));
        }
        std::string rest = received_.substr(received_.find(text, from) + text.size());
        received_.resize(received_.size() - rest.size());
        return std::exchange(received_, std::move(rest));
    }
    void publish(const std::string& subject, const std::string& reply, const std::string& payload) {
        send("PUB " + subject + " " + reply + " " + std::to_string(payload.size()) + "\r\n" + payload +
             "\r\n");
    }

private:
    Wire(int socket, bool) : socket_(socket) {
        const timeval longest{Support::patience.count(), 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
    }
    int socket_;
    std::string received_;
};

// A server that the test plays, on a port of its own.
class Listener {
public:
    Listener() {
        sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), length), 0);
        EXPECT_EQ(listen(socket_, 8), 0);
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    ~Listener() { close(socket_); }
    std::string url() const { return "nats://127.0.0.1:" + std::to_string(port_); }
    Wire accept() { return Wire::accepted(socket_); }
    // Of a client that has been greeted and waits for no answer.
    Wire greet() {
        Wire wire = accept();
        wire.send("INFO {\"max_payload\":1000000}\r\n");
        wire.readUntil("PING\r\n");
        wire.send("PONG\r\n");
        return wire;
    }

private:
    int socket_ = socket(AF_INET, SOCK_STREAM, 0);
    uint16_t port_ = 0;
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
    BusPeer publisher(one);
    for (const std::u16string& name : names) {
        BusMessage reply;
        EXPECT_EQ(publisher.request(name, u"", reply), MODULE_STATUS_SUCCESS) << name.size();
        EXPECT_EQ(reply.payload, name);
        EXPECT_EQ(publisher.request(name + u"?", u"", reply, 5s), MODULE_STATUS_NO_SUBSCRIBERS);
    }
    // They match all but line ends.
    MessageLog all({u".*"}, other), head({u"head\\..+"}, other);
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

TEST(NatsBus, SendsAgainWhatAServerMayHaveLostUntilAnotherHasKeptIt) {
    Listener listener;
    const Process process(listener.url());
    std::string again[2];
    std::promise<void> middle;
    std::thread server([&] {
        {
            Wire wire = listener.greet();
            wire.readUntil("PUB mb.Flow.Middle ");
            // It may have counted as away while it read.
            wire.send("PING\r\n");
            wire.readUntil("PONG\r\n");
            middle.set_value();
            wire.readUntil("PUB mb.Flow.End ");
            // To whatever it has asked, in one piece: all up to the request is confirmed at once.
            std::string answers;
            for (int i = 0; i < 16; ++i)
                answers += "PONG\r\n";
            wire.send(answers);
            wire.readUntil("PING\r\n");
        }
        // Stands still until the client has left it, longer than what is confirmed is kept.
        {
            Wire wire = listener.accept();
            wire.send("INFO {}\r\n");
            wire.readUntil("never");
        }
        // Answers while most of it is still to be sent, and is killed as well.
        {
            Wire wire = listener.greet();
            again[0] = wire.readUntil("PING\r\n");
            wire.send("PONG\r\nPING\r\n");
            wire.readUntil("PONG\r\n");
        }
        Wire wire = listener.greet();
        again[1] = wire.readUntil("PUB mb.Flow.End ");
        wire.send("PONG\r\n");
    });
    BusPeer publisher(process);
    const std::u16string text(50'000, u'x');
    for (size_t i = 0; i < 400; ++i)
        EXPECT_EQ(publisher.publish(u"Flow", text), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(publisher.publish(u"Flow.Middle"), MODULE_STATUS_SUCCESS);
    middle.get_future().wait();
    BusMessage reply;
    EXPECT_EQ(publisher.request(u"Ask", u"", reply, 20ms), MODULE_STATUS_TIMEOUT);
    EXPECT_EQ(publisher.publish(u"Flow.End"), MODULE_STATUS_SUCCESS);
    server.join();
    EXPECT_NE(again[0].find("PUB mb.Flow "), again[0].npos);
    EXPECT_NE(again[1].find("PUB mb.Flow "), again[1].npos);
    EXPECT_NE(again[1].find("PUB mb.Flow.Middle "), again[1].npos);
    EXPECT_EQ(again[1].find("PUB mq."), again[1].npos) << "a request whose time was over";
}

TEST(NatsBus, KeepsNoMoreThanItMayForAServerThatNeverComes) {
    NatsServer server;
    server.kill();
    testing::internal::CaptureStderr();
    std::optional<Process> process(server.url());
    {
        BusPeer publisher(*process);
        const std::u16string text(500'000, u'x');
        size_t kept = 0;
        while (kept < 100 && publisher.publish(u"Early", text) == MODULE_STATUS_SUCCESS)
            ++kept;
        EXPECT_EQ(kept, 67u);  // of 64 MiB
        EXPECT_EQ(publisher.publish(u"Early", text), MODULE_STATUS_NO_MEMORY);
        const auto before = std::chrono::steady_clock::now();
        for (size_t i = 0; i < 1000; ++i)
            publisher.onName(u"Early." + number(i), [](const BusMessage&) { return MODULE_STATUS_SUCCESS; });
        EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
    }
    const auto before = std::chrono::steady_clock::now();
    process.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 5s);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("nobody answers there"), said.npos) << said;
    EXPECT_NE(said.find("67 messages are lost"), said.npos) << said;
}

TEST(NatsBus, ReachesWhoeverHasSubscribedAsSoonAsHeHas) {
    const NatsServer server;
    const Process one(server.url()), other(server.url());
    BusPeer requester(one), receiver(other);
    for (size_t i = 0; i < 300; ++i) {
        const std::u16string name = u"Ask." + number(i);
        receiver.onName(name, [&](const BusMessage& m) { return receiver.reply(m, u"Response"); });
        BusMessage reply;
        ASSERT_EQ(requester.request(name, u"", reply), MODULE_STATUS_SUCCESS) << i;
    }
}

TEST(NatsBus, LetsHandlesComeWhileTheLastOneGoes) {
    const NatsServer server;
    Process process(server.url());
    process.release();
    std::vector<std::thread> threads;
    for (const auto* name : {u"A", u"B", u"C"})
        threads.emplace_back([&process, name] {
            for (int i = 0; i < 100; ++i) {
                BusPeer peer(process);
                peer.onName(name, [&](const BusMessage& m) { return peer.reply(m, u"Response", m.payload); });
                BusMessage reply;
                EXPECT_EQ(peer.request(name, u"x", reply), MODULE_STATUS_SUCCESS);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
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
    Listener listener;
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
            Wire wire = listener.accept();
            wire.send(bytes);
            wire.readUntil("never");  // until it has gone
        }
        // What is split anywhere is put together.
        Wire wire = listener.accept();
        wire.send(greeting);
        wire.readUntil("PING");
        for (const char unit : std::string("PONG\r\nMSG x 1 3\r\nabc\r\nPING\r\n"))
            wire.send(std::string(1, unit));
        EXPECT_NE(wire.readUntil("PONG\r\n"), "");
    });
    {
        const Process process(listener.url());
        server.join();
    }
}

TEST(NatsBus, BearsForeignClientsAndTheirGarbage) {
    const NatsServer server;
    const Process process(server.url());
    MessageLog log({u"News\\..+"}, process);
    const Answerer answerer(process, u"Ask\\..+");
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
