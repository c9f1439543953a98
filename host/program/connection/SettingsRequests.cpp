#include "host/program/connection/SettingsRequests.h"

#include <brevant/settings.h>

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
           reply.getString(BREVANT_SETTINGS_NAME, answered) && answered == name &&
           reply.getBool(BREVANT_SETTINGS_STATUS, status) && status;
}

}  // namespace

bool setVolatileProperty(BusConnection& connection, const std::u16string& name, const std::u16string& value) {
    Tavix::JSONFormatter request;
    request.setString(BREVANT_SETTINGS_NAME, name);
    request.setString(BREVANT_SETTINGS_VALUE, value);
    request.setBool(BREVANT_SETTINGS_VOLATILE, true);
    return ask(connection, BREVANT_SETTINGS_SET, name, request);
}

bool removeProperty(BusConnection& connection, const std::u16string& name) {
    Tavix::JSONFormatter request;
    request.setString(BREVANT_SETTINGS_NAME, name);
    return ask(connection, BREVANT_SETTINGS_REMOVE, name, request);
}

bool hasProperty(BusConnection& connection, const std::u16string& name) {
    Tavix::JSONFormatter request;
    request.setString(BREVANT_SETTINGS_NAME, name);
    return ask(connection, BREVANT_SETTINGS_GET, name, request);
}

}  // namespace Host
