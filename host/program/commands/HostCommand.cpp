#include <algorithm>

#include "host/program/commands/Alerts.h"
#include "host/program/commands/Command.h"
#include "host/program/connection/BusChoice.h"
#include "host/program/connection/BusLibrary.h"
#include "host/program/output/SystemPath.h"
#include "host/program/service/FileTail.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr auto logInterval = std::chrono::milliseconds(200);
constexpr size_t mostLogLines = 1000;  // at a time

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

    const BusLibrary bus(busLibraryFile());
    const BusChoice choice = busChoice();
    HostClient client(bus.functions());
    if (client.look() == HostClient::Change::back) {
        console.error(u"a host runs already on this bus: process " + Ferrow::decimal(client.seen()->process));
        return exitRefused;
    }

    LogPrinter log(console);
    SettingsStore store(options.store.empty() ? usualStore() : options.store);
    if (const std::u16string trouble = store.open(); !trouble.empty())
        console.error(trouble);
    Host host(bus.functions(), store, choice.name, options.handsOverBus, options.standsIn);
    console.note(host.description());
    if (choice.isEmbedded)
        console.note(u"on the embedded bus: no other process reaches this host");
    std::optional<ConsoleViewer> viewer;
    if (display) {
        viewer.emplace(bus.functions(), *display);
        introduce(*viewer, bus.functions(), console);
    }
    console.note(u"serving; SIGINT or SIGTERM ends it");

    PublishedAlerts published(bus.functions(), *alerts, client, console);
    if (!alerts->empty())
        published.publish();
    while (!context.stop.waitFor(logInterval)) {
        log.print();
        Product::Step::Kind step{};
        do
            step =
                alerts->empty() ? Product::Step::Kind::over : published.advance(std::chrono::milliseconds(0));
        while (step == Product::Step::Kind::queued || step == Product::Step::Kind::ended);
    }
    endHost(host, viewer ? &*viewer : nullptr, true, options.grace, context);
    log.print();
    return exitDone;
}

}  // namespace Host
