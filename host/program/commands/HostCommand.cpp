#include <algorithm>

#include "host/program/commands/Alerts.h"
#include "host/program/commands/Command.h"
#include "host/program/connection/BusLibrary.h"
#include "host/program/output/SystemPath.h"
#include "host/program/server/BusServer.h"
#include "host/program/service/FileTail.h"
#include "host/program/service/HostClaim.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr auto logInterval = std::chrono::milliseconds(200);
constexpr size_t mostLogLines = 1000;  // at a time
constexpr auto claimInterval = std::chrono::seconds(3);
constexpr auto serverPatience = std::chrono::seconds(5);
constexpr auto serverInterval = std::chrono::milliseconds(20);

// Prints what is written to the log, as it is written.
class LogPrinter {
public:
    explicit LogPrinter(Console& console) : console_(console), tail_(logFolder(), u".log") {}

    void print() {
        for (const std::u16string& line : tail_.newLines(mostLogLines))
            console_.note(u"  log  " + line);
    }

private:
    Console& console_;
    FileTail tail_;
};

int refuse(uint32_t process, Console& console) {
    console.error(u"a host runs already on this bus: process " + Ferrow::decimal(process));
    return exitRefused;
}

// The host that has a server, once it has told of itself.
std::optional<uint32_t> serverHost(StopRequest& stop) {
    const MessageBus::ConnectionFile file;
    const Platform::Clock& clock = Platform::Clock::steady();
    const auto deadline = Platform::deadlineAfter(clock.now(), serverPatience);
    for (;;) {
        if (const auto found = file.read(); found.state == MessageBus::ConnectionFile::State::present)
            return found.content.host;
        if (clock.now() >= deadline || stop.waitFor(serverInterval))
            return std::nullopt;
    }
}

}  // namespace

int runHost(const HostOptions& options, CommandContext& context) {
    Console& console = context.console;
    const std::unique_ptr<AlertDisplay> answering = answeringDisplay(options.answer, console);
    AlertDisplay* const display = answering ? answering.get() : options.hasViewer ? context.user : nullptr;
    if (options.hasViewer && !display) {
        console.error(u"nobody is at a terminal: --viewer needs --answer there");
        return exitBadInput;
    }
    const auto alerts = readAlerts(options.alerts, console);
    if (!alerts)
        return exitBadInput;

    std::optional<BusServer> server;
    if (options.startsServer) {
        try {
            server.emplace(MessageBus::ConnectionFile());
        } catch (const BusServer::Taken& taken) {
            const std::optional<uint32_t> other = serverHost(context.stop);
            if (other)
                return refuse(*other, console);
            console.error(Ferrow::toUtf16(taken.what()));
            return exitRefused;
        }
        context.bus = chooseBus(server->url(), BusRole::host);
    }
    const BusLibrary bus(busLibraryFile());
    HostClaim claim(bus.functions());
    if (!context.bus.isEmbedded) {
        if (const auto other = claim.findHolder())
            return refuse(*other, console);
    }
    HostClient client(bus.functions());
    if (client.look() == HostClient::Change::back)
        return refuse(client.seen()->process, console);

    LogPrinter log(console);
    SettingsStore store(options.store.empty() ? usualStore() : options.store);
    if (const std::u16string trouble = store.open(); !trouble.empty())
        console.error(trouble);
    Host host(bus.functions(), store, context.bus.name, options.handsOverBus, options.standsIn);
    console.note(host.description());
    console.note(context.bus.isEmbedded
                     ? u"on the embedded bus: no other process reaches this host, --server lets them"
                     : u"on " + context.bus.name + (server ? u", a server of its own" : u""));
    std::optional<ConsoleViewer> viewer;
    if (display) {
        viewer.emplace(bus.functions(), *display);
        introduce(*viewer, bus.functions(), console);
    }
    console.note(u"serving; SIGINT or SIGTERM ends it");

    PublishedAlerts published(bus.functions(), *alerts, client, console);
    if (!alerts->empty())
        published.publish();
    const Platform::Clock& clock = Platform::Clock::steady();
    auto nextClaim = clock.now() + claimInterval;
    int code = exitDone;
    while (!context.stop.waitFor(logInterval)) {
        log.print();
        if (!context.bus.isEmbedded && clock.now() >= nextClaim) {
            nextClaim = clock.now() + claimInterval;
            if (const auto other = claim.renew()) {
                code = refuse(*other, console);
                break;
            }
        }
        if (server) {
            if (const std::u16string news = server->tend(); !news.empty())
                console.error(news);
        }
        Product::Step::Kind step{};
        do
            step =
                alerts->empty() ? Product::Step::Kind::over : published.advance(std::chrono::milliseconds(0));
        while (step == Product::Step::Kind::queued || step == Product::Step::Kind::ended);
    }
    // Where another host serves, a deletion would reach the alerts of that one, whose instances are the same.
    endHost(host, viewer ? &*viewer : nullptr, code == exitDone, options.grace, context);
    log.print();
    return code;
}

}  // namespace Host
