#include <algorithm>

#include <brevant/cpp/alerts.h>

#include "host/program/commands/Alerts.h"
#include "host/program/commands/Command.h"
#include "host/program/connection/BusLibrary.h"
#include "host/program/output/SystemPath.h"
#include "host/program/service/FileTail.h"
#include "host/program/service/RoadPrinter.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr size_t mostReportLines = 200;
constexpr auto roadPatience = std::chrono::seconds(3);
constexpr auto grace = std::chrono::seconds(10);

bool canWriteIn(const std::u16string& folder) {
    const std::u16string probe =
        folder + u"\\probe-" + Ferrow::decimal(Platform::currentProcessId()) + u".tmp";
    if (!Platform::createFolders(folder) || !Platform::appendToFile(probe, {}))
        return false;
    Platform::removeFile(probe);
    return true;
}

bool concerns(const std::u16string& event, const std::vector<AlertFile>& alerts) {
    Tavix::JSONFormatter dimensions;
    std::u16string id;
    if (!dimensions.parse(event) || !dimensions.getString(u"Hit.GUID", id))
        return false;
    return std::any_of(alerts.begin(), alerts.end(),
                       [&](const AlertFile& alert) { return alert.id() == id; });
}

void report(Console& console, const std::u16string& title, const std::vector<std::u16string>& lines) {
    console.note(title + (lines.empty() ? u" none" : u""));
    for (const std::u16string& line : lines)
        console.note(u"  " + line);
}

int follow(PublishedAlerts& published, const ShowOptions& options, CommandContext& context) {
    if (!published.publish())
        return exitFailed;
    published.follow(!options.waits, context.stop);
    return published.exitCode();
}

// Plays host, viewer and product in this process, and reports the whole road.
int showAlone(const BrevantBusFunctions& functions, const std::vector<AlertFile>& alerts, HostClient& client,
              const ShowOptions& options, CommandContext& context) {
    Console& console = context.console;
    FileTail logs(logFolder(), u".log");
    FileTail events(Platform::commonDataFolder(), u"events.jsonl");
    SettingsStore store(options.store.empty() ? usualStore() : options.store);
    if (const std::u16string trouble = store.open(); !trouble.empty())
        console.error(trouble);
    const std::unique_ptr<AlertDisplay> answering = answeringDisplay(options.answer, console);
    AlertDisplay* const display = answering ? answering.get() : context.user;

    RoadPrinter road(functions, console, ConsoleViewer::usualId);
    Host host(functions, store, context.bus.name, options.handsOverBus, true);
    console.note(host.description());
    std::optional<ConsoleViewer> viewer;
    if (display) {
        viewer.emplace(functions, *display, ConsoleViewer::usualId,
                       ConsoleViewer::Observer{[&road](const auto& name) { road.printOther(name); }, {}});
        introduce(*viewer, functions, console);
        road.waitFor(Brevant::viewerMessage(ConsoleViewer::usualId, BREVANT_VIEWER_REGISTERED), roadPatience);
    } else {
        console.error(u"nobody is at a terminal, so no viewer is registered; --answer registers one");
    }
    for (const AlertFile& alert : alerts) {
        if (const std::u16string reason = Host::waitingReason(alert.sessionId()); !reason.empty())
            console.note(u"Note: " + reason);
    }
    PublishedAlerts published(functions, alerts, client, console);
    // What led to an outcome is printed before it.
    published.beforeOutcome = [&road](const auto& instance, const AlertFile& alert,
                                      const AlertOutcome& outcome) {
        using Kind = AlertOutcome::Kind;
        const auto printed = [&](const char16_t* word) {
            road.waitFor(Brevant::alertMessage(alert.id(), word, instance), roadPatience);
        };
        if (outcome.wasShown)
            printed(BREVANT_ALERT_QUEUED);
        if (outcome.kind == Kind::suppressed)
            printed(BREVANT_ALERT_SUPPRESSED);
        else if (outcome.kind == Kind::failed)
            printed(BREVANT_ALERT_FAILED);
        else if (outcome.kind == Kind::chosen || outcome.kind == Kind::dismissed ||
                 outcome.kind == Kind::timedOut)
            printed(BREVANT_ALERT_DISMISSED);
    };
    const int result = follow(published, options, context);
    endHost(host, viewer ? &*viewer : nullptr, published.hasOpen(), grace, context);

    const std::vector<std::u16string> logged = logs.newLines(mostReportLines);
    report(console, u"Log:", logged);
    if (logged.empty() && !canWriteIn(logFolder()))
        console.error(u"no log file is written: nothing can be created in \"" + shownPath(logFolder()) +
                      u"\"");
    std::vector<std::u16string> caused = events.newLines(mostReportLines);
    std::erase_if(caused, [&](const std::u16string& event) { return !concerns(event, alerts); });
    report(console, u"Telemetry:", caused);
    return result;
}

}  // namespace

int runShow(const ShowOptions& options, CommandContext& context) {
    Console& console = context.console;
    const auto alerts = readAlerts(options.alerts, console);
    if (!alerts)
        return exitBadInput;
    const BusLibrary bus(busLibraryFile());
    HostClient client(bus.functions());
    const bool isThere = client.look() == HostClient::Change::back;
    const BusChoice& choice = context.bus;
    if (isThere) {
        PublishedAlerts published(bus.functions(), *alerts, client, console);
        return follow(published, options, context);
    }
    if (choice.isEmbedded)
        return showAlone(bus.functions(), *alerts, client, options, context);
    console.error(u"no host answers on " + choice.name + u"; \"brevant host\" starts one");
    return exitNobody;
}

}  // namespace Host
