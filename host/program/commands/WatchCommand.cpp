#include <regex>

#include "host/program/commands/Command.h"
#include "host/program/connection/BusChoice.h"
#include "host/program/connection/BusLibrary.h"
#include "host/program/connection/HostClient.h"
#include "host/program/output/TerminalText.h"
#include "host/program/service/Host.h"
#include "platform/Clock.h"
#include "text/Format.h"
#include "text/NamePattern.h"

namespace Host {
namespace {

constexpr size_t payloadColumns = 400;

// One message as it passed.
struct PassingMessage {
    std::u16string time;  // UTC, ISO 8601
    const char16_t* kind;
    std::u16string name;
    std::u16string sender;
    std::u16string payload;
};

// Where messages are seen. They come on any thread.
class Traffic {
public:
    using Listener = std::function<void(const PassingMessage&)>;
    virtual ~Traffic() = default;
};

// What a subscription hears: everything but the replies, which go to their requesters alone.
class SubscribedTraffic final : public Traffic {
public:
    SubscribedTraffic(const BrevantBusFunctions& functions, const std::u16string& pattern, Listener listener)
        : connection_(functions, u"watch") {
        subscribed_ = connection_.subscribePattern(pattern, [listener](const ReceivedMessage& message) {
            const bool asks = (message.header.flags & BREVANT_MESSAGE_REPLY_REQUESTED) != 0;
            listener(
                {timeText(), asks ? u"request" : u"message", message.name, message.sender, message.payload});
            // It answers nothing: a request that nobody else takes must not wait for it.
            return MODULE_STATUS_NO_SUBSCRIBERS;
        });
    }
    ~SubscribedTraffic() override { connection_.close(); }

    bool isHeard() const noexcept { return subscribed_; }

private:
    static std::u16string timeText() {
        const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(Platform::Clock::wall().now());
        const Platform::CalendarTime time = Platform::utcCalendarTime();
        return Ferrow::formatText(u"%04hu-%02hu-%02huT%02hu:%02hu:%02hu.%03dZ", time.year, time.month,
                                  time.day, time.hour, time.minute, time.second,
                                  static_cast<int>(now.count() % 1000));
    }

    bool subscribed_ = false;
    BusConnection connection_;
};

void print(Console& console, const PassingMessage& message) {
    if (console.isForPrograms()) {
        Tavix::JSONFormatter object;
        object.setString(u"time", message.time);
        object.setString(u"kind", message.kind);
        object.setString(u"name", message.name);
        object.setString(u"sender", message.sender);
        object.setString(u"payload", message.payload);
        console.object(object);
        return;
    }
    console.line(
        message.time.substr(11, 12) + (std::u16string_view(message.kind) == u"request" ? u" ? " : u"   ") +
        message.name + u"  [" + message.sender + u"]" +
        (message.payload.empty() ? u"" : u"  " + shortened(harmless(message.payload), payloadColumns)));
}

}  // namespace

int runWatch(const WatchOptions& options, CommandContext& context) {
    Console& console = context.console;
    try {
        const Ferrow::NamePattern pattern(options.pattern);
    } catch (const std::regex_error&) {
        console.error(u"\"" + options.pattern + u"\" is no pattern, or too complex a one");
        return exitBadInput;
    }
    const BusLibrary bus(busLibraryFile());
    const BusChoice choice = busChoice();
    HostClient host(bus.functions());
    if (!host.status() && choice.isEmbedded) {
        console.error(u"nobody else is on the embedded bus of this process");
        return exitNobody;
    }
    const SubscribedTraffic traffic(bus.functions(), options.pattern,
                                    [&console](const PassingMessage& message) { print(console, message); });
    if (!traffic.isHeard()) {
        console.error(u"the message bus refuses the subscription");
        return exitFailed;
    }
    console.note(u"watching " + choice.name + u"; SIGINT or SIGTERM ends it");
    context.stop.wait();
    return exitDone;
}

}  // namespace Host
