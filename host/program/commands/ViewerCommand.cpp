#include <brevant/cpp/alerts.h>

#include "host/program/commands/Alerts.h"
#include "host/program/commands/Command.h"
#include "host/program/connection/BusChoice.h"
#include "host/program/connection/BusLibrary.h"
#include "host/program/connection/HostMessages.h"
#include "host/program/service/Host.h"

namespace Host {
namespace {

constexpr auto signTime = std::chrono::seconds(2);

void tell(Console& console, const DisplayedAlert& alert, const Showing::End& end, bool deleted) {
    const char16_t* how = deleted                                    ? u"withdrawn"
                          : end.ending == Showing::Ending::takenDown ? u"takenDown"
                          : end.ending == Showing::Ending::timedOut  ? u"timedOut"
                          : end.action                               ? u"chosen"
                                                                     : u"dismissed";
    const std::u16string action = !deleted && end.action ? alert.actions[*end.action].text : std::u16string();
    if (console.isForPrograms()) {
        Tavix::JSONFormatter object;
        object.setString(u"alert", alert.id);
        object.setString(u"title", alert.title);
        object.setString(u"ending", how);
        if (!action.empty())
            object.setString(u"action", action);
        console.object(object);
        return;
    }
    console.line(u"\"" + alert.title + u"\": " +
                 (std::u16string_view(how) == u"takenDown"  ? u"taken down"
                  : std::u16string_view(how) == u"timedOut" ? u"nobody chose in time"
                                                            : how) +
                 (action.empty() ? u"" : u" \"" + action + u"\""));
}

bool isTaken(const BrevantBusFunctions& functions, const std::u16string& id) {
    BusConnection connection(functions, u"brevant");
    return connection.request(Brevant::viewerMessage(id, BREVANT_VIEWER_ALIVE), {}, signTime).status ==
           MODULE_STATUS_SUCCESS;
}

}  // namespace

int runViewer(const ViewerOptions& options, CommandContext& context) {
    Console& console = context.console;
    const std::unique_ptr<AlertDisplay> answering = answeringDisplay(options.answer, console);
    AlertDisplay* const display = answering ? answering.get() : context.user;
    if (!display) {
        console.error(u"nobody is at a terminal: --answer says what is to become of alerts there");
        return exitBadInput;
    }
    if (options.id.empty() || options.id.find(u'\0') != options.id.npos) {
        console.error(u"a viewer needs an id");
        return exitBadInput;
    }
    const BusLibrary bus(busLibraryFile());
    const BusChoice& choice = context.bus;
    HostClient host(bus.functions());
    HostClient::Change change = host.look();
    if (!host.seen()) {
        console.error(u"no host answers on " + choice.name + (choice.isEmbedded ? u"" : u"; waiting for it"));
        if (choice.isEmbedded)
            return exitNobody;
    }
    if (isTaken(bus.functions(), options.id)) {
        console.error(u"a viewer with the id \"" + options.id + u"\" runs already");
        return exitRefused;
    }

    ConsoleViewer viewer(bus.functions(), *display, options.id,
                         {{}, [&console](const DisplayedAlert& alert, const Showing::End& end, bool deleted) {
                              tell(console, alert, end, deleted);
                          }});
    // A host that has been away has forgotten who was registered.
    for (;; change = host.look()) {
        if (change == HostClient::Change::gone || change == HostClient::Change::replaced) {
            if (change == HostClient::Change::gone)
                console.error(u"the host is gone; waiting for it");
            viewer.clear();
        }
        if (host.seen() && (change != HostClient::Change::none || !host.seen()->hasViewer(options.id))) {
            if (viewer.registerViewer())
                console.note(u"registered as \"" + options.id + u"\"; SIGINT or SIGTERM ends it");
            else
                console.error(u"the settings manager refuses the viewer's registration");
        }
        if (context.stop.waitFor(HostClient::lookInterval))
            break;
    }
    viewer.close();
    return exitDone;
}

}  // namespace Host
