#include "host/program/commands/Command.h"
#include "host/program/connection/BusLibrary.h"
#include "host/program/connection/HostClient.h"
#include "host/program/output/SystemPath.h"
#include "host/program/service/Host.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace Host {
namespace {

std::u16string timeText(uint32_t seconds) {
    if (seconds < 120)
        return Ferrow::decimal(seconds) + u" s";
    if (seconds < 7200)
        return Ferrow::decimal(seconds / 60) + u" min";
    return Ferrow::decimal(seconds / 3600) + u" h " + Ferrow::decimal(seconds / 60 % 60) + u" min";
}

void printPaths(Console& console) {
    std::vector<std::pair<const char16_t*, std::u16string>> paths = {
        {u"program", Platform::executablePath()},
        {u"module", moduleFile()},
        {u"busLibrary", busLibraryFile()},
        {u"settings", usualStore()},
        {u"log", logFolder()},
        {u"data", Platform::commonDataFolder()},
        {u"events", Platform::commonDataFolder() + u"\\events.jsonl"},
    };
    if (const std::u16string folder = Platform::platformFolder(); !folder.empty()) {
        paths.emplace_back(u"platform", folder);
        paths.emplace_back(u"registry", folder + u"\\registry.reg");
        paths.emplace_back(u"sessions", folder + u"\\sessions");
    }
    if (console.isForPrograms()) {
        Tavix::JSONFormatter object;
        for (const auto& [what, path] : paths)
            object.setString(what, shownPath(path));
        console.object(object);
        return;
    }
    for (const auto& [what, path] : paths)
        console.line(Ferrow::formatText(u"%-12ls", std::u16string(what)) + shownPath(path));
}

void print(Console& console, const HostStatus& status) {
    const auto entry = [&console](const char16_t* what, const std::u16string& text) {
        console.line(Ferrow::formatText(u"%-10ls", std::u16string(what)) + text);
    };
    const auto all = [&](const char16_t* what, const auto& items, const auto& describe) {
        const char16_t* label = what;
        for (const auto& item : items)
            entry(std::exchange(label, u""), describe(item));
        if (items.empty())
            entry(what, u"none");
    };
    entry(u"bus", status.bus);
    console.line(u"host      process " + Ferrow::decimal(status.process) + u", up for " +
                     timeText(status.uptimeSeconds),
                 Style::good);
    entry(u"broker", status.version);
    all(u"viewers", status.viewers, [](const HostStatus::Viewer& viewer) {
        return viewer.id + (!viewer.isAsked ? u", gives no signs of life"
                            : !viewer.lastSignSeconds
                                ? u", not heard yet"
                                : u", heard " + timeText(*viewer.lastSignSeconds) + u" ago");
    });
    all(u"sessions", status.sessions, [](const HostStatus::Session& session) {
        return Ferrow::decimal(session.id) + u" " + session.state;
    });
    all(u"plugins", status.plugins,
        [](const HostStatus::Plugin& plugin) { return plugin.product + u": " + plugin.file; });
    entry(u"alerts",
          Ferrow::decimal(status.shown) + u" on screen, " + Ferrow::decimal(status.waiting) + u" waiting");
    for (const HostStatus::Alert& alert : status.alerts)
        entry(u"", alert.instance + u" " + alert.priority + u" \"" + alert.title + u"\" (" + alert.id +
                       u"), " + (alert.isShown ? u"on screen" : u"waiting") + u" for " +
                       timeText(alert.seconds));
}

}  // namespace

int runStatus(const StatusOptions& options, CommandContext& context) {
    Console& console = context.console;
    if (options.paths) {
        printPaths(console);
        return exitDone;
    }
    const BusLibrary bus(busLibraryFile());
    HostClient client(bus.functions());
    const std::optional<HostStatus> status = client.status();
    if (console.isForPrograms()) {
        Tavix::JSONFormatter object;
        if (status)
            object = status->toJson();
        else
            object.setString(u"bus", context.bus.name);
        object.setBool(u"host", status.has_value());
        console.object(object);
    } else if (status) {
        print(console, *status);
    } else {
        console.line(u"bus       " + context.bus.name);
        console.line(u"host      none answers", Style::bad);
    }
    return status ? exitDone : exitNobody;
}

}  // namespace Host
