#include <deque>
#include <map>
#include <regex>

#include "host/bus/nats/BusObserver.h"
#include "host/program/commands/Command.h"
#include "host/program/output/TerminalText.h"
#include "platform/Clock.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace Host {
namespace {

using MessageBus::Observed;
using MessageBus::WireKind;

constexpr size_t payloadColumns = 400;
constexpr size_t mostOpenRequests = 4096;
constexpr auto patience = std::chrono::seconds(2);

const char16_t* wordFor(WireKind kind) {
    switch (kind) {
        case WireKind::request:
            return u"request";
        case WireKind::reply:
            return u"reply";
        case WireKind::refusal:
            return u"refusal";
        default:
            return u"message";
    }
}

const char16_t* markFor(WireKind kind) {
    switch (kind) {
        case WireKind::request:
            return u" ? ";
        case WireKind::reply:
            return u" = ";
        case WireKind::refusal:
            return u" ! ";
        default:
            return u"   ";
    }
}

// Prints what passes; pairs requests with what answers them. The observer calls it, one call at a time.
class PassingMessages {
public:
    explicit PassingMessages(Console& console) : console_(console) {}

    void show(const Observed& observed) {
        const auto now = Platform::Clock::steady().now();
        Passed passed{timeText(observed.time), observed.kind, observed.name, observed.sender,
                      observed.payload};
        if (observed.kind == WireKind::refusal)
            passed.payload = Ferrow::formatText(u"0x%08X", observed.value);
        const Request request{observed.process, observed.request};
        if (observed.kind == WireKind::request) {
            if (asked_.size() == mostOpenRequests) {
                open_.erase(asked_.front());
                asked_.pop_front();
            }
            asked_.push_back(request);
            open_[request] = {now, observed.name};
        } else if (const auto asked = open_.find(request); asked != open_.end()) {
            passed.latency = std::chrono::duration_cast<std::chrono::microseconds>(now - asked->second.time);
            passed.request = asked->second.name;
            open_.erase(asked);
        } else if (observed.kind == WireKind::refusal) {
            return;  // of a request from before
        }
        print(passed);
    }

private:
    struct Passed {
        std::u16string time;  // UTC, ISO 8601
        WireKind kind;
        std::u16string name;
        std::u16string sender;
        std::u16string payload;
        std::u16string request{};  // the name of what it answers
        std::optional<std::chrono::microseconds> latency{};
    };
    using Request = std::pair<MessageBus::ProcessId, uint64_t>;
    struct Asked {
        Platform::Clock::Time time;
        std::u16string name;
    };

    static std::u16string timeText(Platform::Clock::Time time) {
        using namespace std::chrono;
        const auto day = floor<days>(time);
        const year_month_day date{sys_days(day)};
        const hh_mm_ss clock{floor<milliseconds>(time - day)};
        return Ferrow::formatText(
            u"%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
            static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
            static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
            static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
    }

    void print(const Passed& passed) {
        if (console_.isForPrograms()) {
            Tavix::JSONFormatter object;
            object.setString(u"time", passed.time);
            object.setString(u"kind", wordFor(passed.kind));
            object.setString(u"name", passed.name);
            object.setString(u"sender", passed.sender);
            object.setString(u"payload", passed.payload);
            if (passed.latency) {
                object.setString(u"request", passed.request);
                object.setUInt64(u"microseconds", static_cast<uint64_t>(passed.latency->count()));
            }
            console_.object(object);
            return;
        }
        std::u16string line = passed.time.substr(11, 12) + markFor(passed.kind) +
                              (passed.name.empty() ? passed.request : passed.name);
        if (!passed.sender.empty())
            line += u"  [" + passed.sender + u"]";
        if (passed.latency)
            line += Ferrow::formatText(u"  %.1f ms", static_cast<double>(passed.latency->count()) / 1000);
        if (!passed.payload.empty())
            line += u"  " + shortened(harmless(passed.payload), payloadColumns);
        console_.line(line);
    }

    Console& console_;
    std::map<Request, Asked> open_;
    std::deque<Request> asked_;  // in order, those that have their answer included
};

}  // namespace

int runWatch(const WatchOptions& options, CommandContext& context) {
    Console& console = context.console;
    try {
        const Ferrow::NamePattern pattern(options.pattern);
    } catch (const std::regex_error&) {
        console.error(u"\"" + options.pattern + u"\" is no pattern, or too complex a one");
        return exitBadInput;
    }
    if (!context.bus.server) {
        console.error(u"nobody else is on the embedded bus of this process");
        return exitNobody;
    }
    PassingMessages messages(console);
    MessageBus::BusObserver observer(*context.bus.server, options.pattern,
                                     [&messages](const Observed& observed) { messages.show(observed); });
    if (!observer.waitUntilOpen(patience))
        console.error(context.bus.name + u" does not let it watch; it is tried on");
    console.note(u"watching " + context.bus.name + u"; SIGINT or SIGTERM ends it");
    context.stop.wait();
    return exitDone;
}

}  // namespace Host
