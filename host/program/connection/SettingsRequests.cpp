#include "host/program/connection/SettingsRequests.h"

#include <brevant/settings.h>

#include "json/JSONFormatter.h"

namespace Host {
namespace {

constexpr auto settingsTimeout = std::chrono::milliseconds(5000);

// Reads the reply into the formatter.
bool ask(BusConnection& connection, std::u16string_view topic, const std::u16string& name,
         const Tavix::JSONFormatter& request, Tavix::JSONFormatter& reply) {
    const BusAnswer answer = connection.request(std::u16string(topic), request.toString(), settingsTimeout);
    std::u16string answered;
    bool status = false;
    return answer.status == MODULE_STATUS_SUCCESS && reply.parse(answer.message.payload) &&
           reply.getString(BREVANT_SETTINGS_NAME, answered) && answered == name &&
           reply.getBool(BREVANT_SETTINGS_STATUS, status) && status;
}

Tavix::JSONFormatter naming(const std::u16string& name) {
    Tavix::JSONFormatter request;
    request.setString(BREVANT_SETTINGS_NAME, name);
    return request;
}

}  // namespace

bool setProperty(BusConnection& connection, const std::u16string& name, const std::u16string& value,
                 bool isVolatile) {
    Tavix::JSONFormatter request = naming(name), reply;
    request.setString(BREVANT_SETTINGS_VALUE, value);
    request.setBool(BREVANT_SETTINGS_VOLATILE, isVolatile);
    return ask(connection, BREVANT_SETTINGS_SET, name, request, reply);
}

bool setVolatileProperty(BusConnection& connection, const std::u16string& name, const std::u16string& value) {
    return setProperty(connection, name, value, true);
}

bool removeProperty(BusConnection& connection, const std::u16string& name) {
    Tavix::JSONFormatter reply;
    return ask(connection, BREVANT_SETTINGS_REMOVE, name, naming(name), reply);
}

bool hasProperty(BusConnection& connection, const std::u16string& name) {
    return getProperty(connection, name).has_value();
}

std::optional<std::u16string> getProperty(BusConnection& connection, const std::u16string& name) {
    Tavix::JSONFormatter reply;
    std::u16string value;
    if (!ask(connection, BREVANT_SETTINGS_GET, name, naming(name), reply) ||
        !reply.getString(BREVANT_SETTINGS_VALUE, value))
        return std::nullopt;
    return value;
}

std::optional<PropertyList> listProperties(BusConnection& connection, const std::u16string& prefix) {
    Tavix::JSONFormatter item = naming(prefix), request, reply;
    item.setBool(BREVANT_SETTINGS_IS_PREFIX, true);
    request.setObjectArray(BREVANT_SETTINGS_PROPERTIES, {item});
    const BusAnswer answer =
        connection.request(BREVANT_SETTINGS_GET_BATCH, request.toString(), settingsTimeout);
    std::vector<Tavix::JSONView> responses;
    if (answer.status != MODULE_STATUS_SUCCESS || !reply.parse(answer.message.payload) ||
        !reply.view().getObjectArray(BREVANT_SETTINGS_RESPONSES, responses))
        return std::nullopt;
    PropertyList list;
    for (const Tavix::JSONView& response : responses) {
        auto& [name, value] = list.emplace_back();
        response.getString(BREVANT_SETTINGS_NAME, name);
        response.getString(BREVANT_SETTINGS_VALUE, value);
    }
    return list;
}

}  // namespace Host
