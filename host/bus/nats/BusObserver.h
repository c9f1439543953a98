// Looks on at what passes on the bus, without taking part.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "host/bus/nats/NatsClient.h"
#include "text/NamePattern.h"

namespace MessageBus {

// What an observer is shown.
struct Observed {
    WireKind kind = WireKind::message;  // or request, reply, refusal
    Platform::Clock::Time time{};       // when it came, of the wall clock
    std::u16string name{};              // of a refusal empty
    std::u16string sender{};
    std::u16string payload{};
    MessageHeader header{};
    ProcessId process{};   // whose message or request it is
    uint64_t request = 0;  // pairs a request of the process with its reply or refusal; 0 for a message
    uint32_t value = 0;    // of a request its time-out in milliseconds, of a refusal the status
};

// Sees messages and the requests with their replies whose names the pattern matches, those of foreign
// clients' requests excepted, which tell nobody. A time-out is not told: it is what a request has when
// nothing else has come in its time. Nobody learns that he is watched from what his requests get.
class BusObserver final : private NatsClient::Events {
public:
    using Show = std::function<void(const Observed&)>;

    // show runs on a thread of the observer's, one call at a time; it must not throw and should not block.
    // Throws std::regex_error for a malformed pattern, std::system_error when the system gives no thread.
    BusObserver(const ServerAddress& address, std::u16string_view pattern, Show show);
    // Waits for a running call.
    ~BusObserver();

    // False when the server is not there in time; the observer goes on trying.
    bool waitUntilOpen(std::chrono::nanoseconds timeout) { return client_.waitUntilOpen(timeout); }
    NatsClient::State state() const noexcept { return client_.state(); }

private:
    void opened() override { announce("mc.observer"); }
    void lost() noexcept override {}
    void message(const ServerMessage& message) override;
    Platform::Clock::Time tick(Platform::Clock::Time) override { return Platform::Clock::Time::max(); }

    void announce(const std::string& to);
    void tell(const std::string& to, WireKind kind);

    const std::u16string text_;
    const Ferrow::NamePattern pattern_;
    const Show show_;
    std::map<ProcessId, uint64_t> heard_;  // the last messages: repeats are not shown
    std::string copies_;                   // what stands before the names' tokens of copies
    NatsClient client_;                    // last: its thread uses what stands above
};

}  // namespace MessageBus
