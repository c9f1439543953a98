// The embedded bus alone: a request with its reply, and a message to many subscribers, beside the hand-overs
// and the calls that these are made of and beside buses of other processes.
#include <algorithm>
#include <cstring>
#include <list>
#include <memory>

#include "bench/BenchHost.h"
#include "bench/ChildProcess.h"
#include "bench/Floors.h"
#include "bench/peers/DBusClient.h"
#include "bench/peers/NatsClient.h"

namespace Bench {
namespace {

const MessageHeader plain = Support::plainHeader();

// A connection to the embedded bus.
class Connection {
public:
    Connection() { bus.acquireHandle(&handle); }
    ~Connection() { bus.releaseHandle(handle); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void publish(const MessageHeader& header, const char16_t* name, const char16_t* payload) const {
        bus.publish(handle, &header, name, u"Bench", payload);
    }

    const BrevantBusFunctions& bus = *Support::embeddedBus();
    BrevantBusHandle handle = nullptr;
};

uint32_t echo(void* connection, const MessageHeader* request, const char16_t* name, const char16_t*,
              const char16_t* payload) {
    MessageHeader reply = Support::plainHeader(BREVANT_MESSAGE_REPLY);
    std::copy_n(request->requestIdentity, sizeof reply.inReplyTo, reply.inReplyTo);
    std::copy_n(request->replyRoute, sizeof reply.replyDestination, reply.replyDestination);
    reply.replyCookie = request->requestCookie;
    static_cast<const Connection*>(connection)->publish(reply, name, payload);
    return MODULE_STATUS_SUCCESS;
}

uint32_t onReply(void* signal, uint64_t, const MessageHeader*, const char16_t*, const char16_t*,
                 const char16_t*, uint32_t status) {
    if (status == MODULE_STATUS_SUCCESS)
        static_cast<Signal*>(signal)->announce();
    return MODULE_STATUS_SUCCESS;
}

void request(benchmark::State& state) {
    Connection responder, requester;
    responder.bus.subscribe(responder.handle, &responder, &echo, u"Bench.Echo");
    Signal replied;
    uint64_t index = 0;
    for ([[maybe_unused]] auto each : state) {
        requester.bus.request(requester.handle, ++index, &replied, &onReply, &plain, u"Bench.Echo", u"Bench",
                              u"payload", 20000);
        replied.wait();
    }
    requester.bus.releaseReplyFunction(requester.handle, &onReply);
}

// Those who get a message: how many have, and when the last one has.
struct Audience {
    explicit Audience(size_t count) : size(count) {}

    static uint32_t onMessage(void* self, const MessageHeader*, const char16_t*, const char16_t*,
                              const char16_t*) {
        auto& audience = *static_cast<Audience*>(self);
        if (++audience.reached % audience.size == 0) {
            audience.ended = Clock::now();
            audience.all.announce();
        }
        return MODULE_STATUS_SUCCESS;
    }

    // The seconds that it takes until the last one has been called.
    template <class Publish>
    double reachAll(const Publish& publish) {
        const auto began = Clock::now();
        publish();
        all.wait();
        return secondsBetween(began, ended);
    }

    const size_t size;
    std::atomic<size_t> reached{0};
    Clock::time_point ended;
    Signal all;
};

void publish(benchmark::State& state, size_t subscribers, bool byPattern) {
    Audience audience(subscribers);
    const Connection publisher;
    std::list<Connection> connections(subscribers);
    for (const Connection& each : connections) {
        const auto subscribe = byPattern ? each.bus.subscribePattern : each.bus.subscribe;
        subscribe(each.handle, &audience, &Audience::onMessage,
                  byPattern ? u"Bench.News..+" : u"Bench.News.1");
    }
    for ([[maybe_unused]] auto each : state)
        state.SetIterationTime(
            audience.reachAll([&] { publisher.publish(plain, u"Bench.News.1", u"payload"); }));
}

// The calls themselves, on another thread.
void calls(benchmark::State& state, size_t subscribers) {
    Audience audience(subscribers);
    const std::vector<BrevantMessageFunction> functions(subscribers, &Audience::onMessage);
    HandOver other([&] {
        for (const BrevantMessageFunction function : functions)
            function(&audience, &plain, u"Bench.News.1", u"Bench", u"payload");
    });
    for ([[maybe_unused]] auto each : state)
        state.SetIterationTime(audience.reachAll([&] { other.thereAndBack(); }));
}

// The other side of a request, in a process of its own; goes on when that is ready.
template <class Where>
class Responder {
public:
    Responder(void (*serve)(Where, const std::function<void()>&), Where where)
        : process_([&](int connection) { serve(where, [connection] { sendRecord(connection, "", 1); }); }) {
        char ready;
        receiveRecord(process_.connection(), &ready, sizeof ready);
    }

private:
    ChildProcess process_;
};

void registerDBus(const std::string& address) {
    benchmark::RegisterBenchmark("dbus-daemon", [address](benchmark::State& state) {
        const Responder<const std::string&> responder(serveDBusEcho, address);
        DBusClient client(address);
        const char* payload = "payload";
        for ([[maybe_unused]] auto each : state) {
            const DBusMessagePointer call(
                dbus_message_new_method_call(dbusEchoName, "/", "org.example.Echo", "Echo"));
            dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &payload, DBUS_TYPE_INVALID);
            client.call(call);
        }
    })->UseRealTime();
}

void registerNats(uint16_t port) {
    benchmark::RegisterBenchmark("nats", [port](benchmark::State& state) {
        const Responder<uint16_t> responder(serveNatsEcho, port);
        NatsClient client(port);
        client.subscribe("bench.reply");
        for ([[maybe_unused]] auto each : state) {
            client.publish(natsEchoSubject, "bench.reply", "payload");
            client.receive();
        }
    })->UseRealTime();
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        registerHandOver();
        benchmark::RegisterBenchmark("request", request)->UseRealTime();
        for (const size_t subscribers : {1, 50, 1000}) {
            const std::string count = "/" + std::to_string(subscribers);
            benchmark::RegisterBenchmark(("exact" + count).c_str(), publish, subscribers, false)
                ->UseManualTime();
            benchmark::RegisterBenchmark(("pattern" + count).c_str(), publish, subscribers, true)
                ->UseManualTime();
            benchmark::RegisterBenchmark(("calls" + count).c_str(), calls, subscribers)->UseManualTime();
        }
        if (const char* const address = std::getenv("BENCH_DBUS"))
            registerDBus(address);
        if (const char* const port = std::getenv("BENCH_NATS"))
            registerNats(static_cast<uint16_t>(std::strtoul(port, nullptr, 10)));
        benchmark::RunSpecifiedBenchmarks();
    });
}
