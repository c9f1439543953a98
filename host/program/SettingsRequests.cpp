#include "SettingsRequests.h"

#include "SettingsProtocol.h"
#include "json/JSONFormatter.h"

namespace Host {
namespace {

constexpr auto settingsTimeout = std::chrono::milliseconds(5000);

bool ask(BusConnection& connection, std::u16string_view topic, const std::u16string& name,
         const Tavix::JSONFormatter& request) {
    const BusAnswer answer = connection.request(std::u16string(topic), request.toString(), settingsTimeout);
    Tavix::JSONFormatter reply;
    std::u16string answered;
    bool status = false;
    return answer.status == MODULE_STATUS_SUCCESS && reply.parse(answer.message.payload) &&
           reply.getString(u"name", answered) && answered == name && reply.getBool(u"status", status) &&
           status;
}

}  // namespace

bool setVolatileProperty(BusConnection& connection, const std::u16string& name, const std::u16string& value) {
    Tavix::JSONFormatter request;
    request.setString(u"name", name);
    request.setString(u"value", value);
    request.setBool(u"volatile", true);
    return ask(connection, SettingsTopic::set, name, request);
}

bool removeProperty(BusConnection& connection, const std::u16string& name) {
    Tavix::JSONFormatter request;
    request.setString(u"name", name);
    return ask(connection, SettingsTopic::remove, name, request);
}

bool hasProperty(BusConnection& connection, const std::u16string& name) {
    Tavix::JSONFormatter request;
    request.setString(u"name", name);
    return ask(connection, SettingsTopic::get, name, request);
}

}  // namespace Host
