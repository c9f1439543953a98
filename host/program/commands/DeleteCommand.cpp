#include <algorithm>

#include <brevant/cpp/alerts.h>

#include "host/program/commands/Command.h"
#include "host/program/connection/BusConnection.h"
#include "host/program/service/Host.h"

namespace Host {
namespace {

// A viewer may take 90 s to take an alert down, and the broker 30 s more to hear of it.
constexpr auto answerTime = std::chrono::seconds(130);

}  // namespace

int runDelete(const DeleteOptions& options, CommandContext& context) {
    Console& console = context.console;
    const std::u16string& instance = options.instance;
    if (instance.empty() || instance.find_first_not_of(u"0123456789") != instance.npos) {
        console.error(u"\"" + instance + u"\" is no instance: a number is");
        return exitBadInput;
    }
    const BusLibrary bus(busLibraryFile());
    BusConnection connection(bus.functions(), u"brevant");
    const BusAnswer answer = connection.request(BREVANT_ALERT_DELETE + instance, {}, answerTime);
    if (answer.status == MODULE_STATUS_NO_SUBSCRIBERS) {
        console.error(u"no host answers on " + context.bus.name);
        return exitNobody;
    }
    const bool withdrawn = answer.status == MODULE_STATUS_SUCCESS &&
                           answer.message.name == Brevant::alertMessage({}, BREVANT_ALERT_DELETED, instance);
    if (console.isForPrograms()) {
        Tavix::JSONFormatter object;
        object.setString(u"instance", instance);
        object.setBool(u"withdrawn", withdrawn);
        console.object(object);
    } else if (withdrawn) {
        console.line(u"alert " + instance + u" is withdrawn");
    } else if (answer.status == MODULE_STATUS_TIMEOUT) {
        console.error(u"no answer came");
    } else {
        console.error(u"no alert " + instance + u" waits or is on screen");
    }
    return withdrawn ? exitDone : exitFailed;
}

}  // namespace Host
