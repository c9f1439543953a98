#include "settings/SettingsManagerClientImpl.h"

#include <utility>

#include <brevant/status.h>

#include "logging/Log.h"
#include "module/status/ModuleStatus.h"
#include "settings/SettingsProtocol.h"

namespace Tavix {

namespace {

constexpr std::u16string_view logSource = u"SettingsManagerClient";

}  // namespace

using namespace SettingsProtocol;

SettingsManagerClient::Impl::Impl(std::shared_ptr<MessageBusClient> bus)
    : bus_(bus ? std::move(bus) : std::make_shared<MessageBusClient>()) {}

uint32_t SettingsManagerClient::Impl::request(const char16_t* topic, std::u16string payload, Timeout timeout,
                                              std::shared_ptr<Reply>& reply) {
    const std::shared_ptr<Message> message = makeMessage(topic, senderName, std::move(payload));
    if (!message)
        return MODULE_STATUS_NO_MEMORY;
    const uint32_t status = bus_->request(message, reply, timeout);
    if (status == MODULE_STATUS_SUCCESS && reply)
        reply->wait();
    return status;
}

bool SettingsManagerClient::Impl::getSettingPropertyResponse(const std::shared_ptr<Reply>& reply,
                                                             JSONFormatter& response) {
    return readReply(reply, response, u"Tavix::SettingsManagerClient::Impl::getSettingPropertyResponse",
                     u"Property request");
}

bool SettingsManagerClient::Impl::getSettingPropertyResponseList(const std::shared_ptr<Reply>& reply,
                                                                 JSONFormatter& response) {
    return readReply(reply, response, u"Tavix::SettingsManagerClient::Impl::getSettingPropertyResponseList",
                     u"Property list request");
}

bool SettingsManagerClient::Impl::readReply(const std::shared_ptr<Reply>& reply, JSONFormatter& response,
                                            std::u16string_view function, std::u16string_view what) {
    switch (reply ? reply->getState() : ReplyState::pending) {
        case ReplyState::timedOut:
            LOG_FORMATTED(ETWLogging::levelWarning, function, u"%ls timed out. Returning.", what);
            return false;
        case ReplyState::dataError:
            LOG_FORMATTED(ETWLogging::levelWarning, function, u"%ls failed with DATA_ERROR. Returning.",
                          what);
            return false;
        case ReplyState::received: {
            const std::shared_ptr<Message> message = reply->getMessage();
            if (message && response.parse(message->payload()))
                return true;
            LOG_MESSAGE(ETWLogging::levelWarning, function,
                        u"Failed to parse settings manager response message. Returning.");
            return false;
        }
        case ReplyState::pending:
            break;
    }
    LOG_FORMATTED(ETWLogging::levelWarning, function, u"%ls failed on wait() with unknown error.", what);
    return false;
}

bool SettingsManagerClient::Impl::verifyPropertyName(const JSONView& response,
                                                     const std::u16string& expected) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::Impl::verifyPropertyName";
    std::u16string name;
    if (!response.getString(nameKey, name)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function,
                    u"Failed to read settings manager response property name.");
        return false;
    }
    if (name != expected) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Response property name (%ls) does not match expected property name (%ls).", name,
                      expected);
        return false;
    }
    return true;
}

bool SettingsManagerClient::Impl::getPropertyValue(const JSONView& response, std::u16string& value) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::Impl::getPropertyValue";
    bool status = false;
    if (!response.getBool(statusKey, status)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read settings manager response status.");
        return false;
    }
    if (!status)
        return false;
    if (!response.getString(valueKey, value)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read settings manager response value.");
        return false;
    }
    return true;
}

bool SettingsManagerClient::Impl::setProperty(const std::u16string& name, const std::u16string& value,
                                              bool isVolatile, Timeout timeout) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::Impl::setProperty";
    std::shared_ptr<Reply> reply;
    const uint32_t requested =
        request(setPropertyRequest, setRequest(name, value, isVolatile), timeout, reply);
    if (requested != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to make set property request. Error code: %ls(%lu)",
                      moduleStatusName(requested), requested);
        return false;
    }
    JSONFormatter response;
    if (!getSettingPropertyResponse(reply, response) || !verifyPropertyName(response.view(), name))
        return false;
    bool status = false;
    if (!response.view().getBool(statusKey, status)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read settings manager response status.");
        return false;
    }
    if (!status)
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Settings Manager failed to set property value.");
    return status;
}

bool SettingsManagerClient::Impl::sendSetPropertiesRequest(std::u16string payload, Timeout timeout,
                                                           JSONFormatter& response) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::Impl::sendSetPropertiesRequest";
    std::shared_ptr<Reply> reply;
    const uint32_t requested = request(setPropertiesRequest, std::move(payload), timeout, reply);
    if (requested != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to make set properties request. Error code: %ls(%lu)",
                      moduleStatusName(requested), requested);
        return false;
    }
    return getSettingPropertyResponseList(reply, response);
}

SettingsManager::ResultMap SettingsManagerClient::Impl::setProperties(const PropertyList& properties,
                                                                      bool isVolatile, Timeout timeout) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::Impl::setProperties";
    ResultMap results;
    for (const auto& property : properties)
        results.emplace(property.first, false);
    JSONFormatter response;
    if (!sendSetPropertiesRequest(setListRequest(properties, isVolatile), timeout, response)) {
        LOG_MESSAGE(ETWLogging::levelError, function, u"Failed to set properties. Unable to make request.");
        return results;
    }
    Responses responses;
    if (!response.view().getObjectArray(responsesKey, responses)) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Failed to set properties. Unable to parse responses.");
        return results;
    }
    for (const JSONView& item : responses) {
        std::u16string name;
        if (!item.getString(nameKey, name)) {
            LOG_MESSAGE(ETWLogging::levelWarning, function,
                        u"Failed to read settings property response name.");
            continue;
        }
        const auto result = results.find(name);
        if (result == results.end()) {
            LOG_FORMATTED(ETWLogging::levelWarning, function,
                          u"Received unexpected setting property response. Name: %ls.", name);
            continue;
        }
        bool status = false;
        if (!item.getBool(statusKey, status))
            LOG_FORMATTED(ETWLogging::levelWarning, function,
                          u"Failed to read settings manager response status. Property Name: %ls", name);
        else if (!status)
            LOG_FORMATTED(ETWLogging::levelWarning, function,
                          u"Settings Manager failed to set property value. Property Name: %ls", name);
        else
            result->second = true;
    }
    return results;
}

bool SettingsManagerClient::Impl::requestRemoval(const std::vector<std::u16string>& names, bool arePrefixes,
                                                 Timeout timeout, std::u16string_view function,
                                                 std::u16string_view refusal, JSONFormatter& response,
                                                 Responses& responses) {
    std::shared_ptr<Reply> reply;
    const uint32_t requested =
        request(removePropertiesRequest, namesRequest(names, arePrefixes), timeout, reply);
    if (requested != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelWarning, function, refusal, moduleStatusName(requested), requested);
        return false;
    }
    if (!getSettingPropertyResponseList(reply, response)) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to parse remove properties response. Error code: %ls(%lu)",
                      moduleStatusName(requested), requested);
        return false;
    }
    if (!response.view().getObjectArray(responsesKey, responses)) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Failed to parse statuses from remove properties response.");
        return false;
    }
    return true;
}

bool SettingsManagerClient::Impl::readRemoval(const JSONView& item, const std::u16string& name,
                                              std::u16string_view function, bool& status) {
    if (!item.getBool(statusKey, status)) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to read settings manager response status. Property Name: %ls", name);
        return false;
    }
    if (!status)
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Settings Manager failed to remove property. Property Name: %ls", name);
    return true;
}

void SettingsManagerClient::Impl::logConversionFailure(Ferrow::NumberError error) {
    LOG_MESSAGE(ETWLogging::levelWarning, u"Tavix::SettingsManagerClient::Impl::tryConvert",
                error == Ferrow::NumberError::outOfRange
                    ? u"Conversion failed, out of range for destination type."
                    : u"Conversion failed due to invalid arguments.");
}

}  // namespace Tavix
