#include "settings/SettingsManagerClientImpl.h"

#include <utility>

#include <brevant/settings.h>
#include <brevant/status.h>

#include "logging/Log.h"
#include "settings/SettingsProtocol.h"
#include "status/ModuleStatus.h"

namespace Tavix {

namespace {

constexpr std::u16string_view logSource = u"SettingsManagerClient";  // compat

bool readReply(const std::shared_ptr<Reply>& reply, JSONFormatter& response, std::u16string_view function,
               std::u16string_view what) {
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

}  // namespace

using namespace SettingsProtocol;

SettingsManagerClient::Impl::Impl(std::shared_ptr<MessageBusClient> bus)
    : bus_(bus ? std::move(bus) : std::make_shared<MessageBusClient>()) {}

bool SettingsManagerClient::Impl::request(const Asker& asker, const char16_t* topic, std::u16string payload,
                                          Timeout timeout, std::shared_ptr<Reply>& reply) {
    const std::shared_ptr<Message> message = makeMessage(topic, u"SettingsManagerClient", std::move(payload));
    const uint32_t status = message ? bus_->request(message, reply, timeout) : MODULE_STATUS_NO_MEMORY;
    if (status != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelWarning, asker.function,
                      u"Failed to make %ls request. Error code: %ls(%lu)", asker.what,
                      moduleStatusName(status), status);
        return false;
    }
    if (reply)
        reply->wait();
    return true;
}

bool SettingsManagerClient::Impl::askAboutOne(const Asker& asker, const char16_t* topic,
                                              std::u16string payload, const std::u16string& name,
                                              Timeout timeout, JSONFormatter& response) {
    std::shared_ptr<Reply> reply;
    return request(asker, topic, std::move(payload), timeout, reply) &&
           getSettingPropertyResponse(reply, response) && verifyPropertyName(response.view(), name);
}

bool SettingsManagerClient::Impl::askAboutMany(const Asker& asker, const char16_t* topic,
                                               std::u16string payload, Timeout timeout,
                                               JSONFormatter& response) {
    std::shared_ptr<Reply> reply;
    return request(asker, topic, std::move(payload), timeout, reply) &&
           getSettingPropertyResponseList(reply, response);
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

bool SettingsManagerClient::Impl::verifyPropertyName(const JSONView& response,
                                                     const std::u16string& expected) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::Impl::verifyPropertyName";
    std::u16string name;
    if (!response.getString(BREVANT_SETTINGS_NAME, name)) {
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
    if (!response.getBool(BREVANT_SETTINGS_STATUS, status)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read settings manager response status.");
        return false;
    }
    if (!status)
        return false;
    if (!response.getString(BREVANT_SETTINGS_VALUE, value)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read settings manager response value.");
        return false;
    }
    return true;
}

bool SettingsManagerClient::Impl::confirmed(const JSONView& response, std::u16string_view function,
                                            std::u16string_view failure) {
    bool status = false;
    if (!response.getBool(BREVANT_SETTINGS_STATUS, status))
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read settings manager response status.");
    else if (!status)
        LOG_MESSAGE(ETWLogging::levelWarning, function, failure);
    return status;
}

bool SettingsManagerClient::Impl::setProperty(const std::u16string& name, const std::u16string& value,
                                              bool isVolatile, Timeout timeout) {
    constexpr Asker asker{u"Tavix::SettingsManagerClient::Impl::setProperty", u"set property"};
    JSONFormatter response;
    return askAboutOne(asker, BREVANT_SETTINGS_SET, setRequest(name, value, isVolatile), name, timeout,
                       response) &&
           confirmed(response.view(), asker.function, u"Settings Manager failed to set property value.");
}

bool SettingsManagerClient::Impl::sendSetPropertiesRequest(std::u16string payload, Timeout timeout,
                                                           JSONFormatter& response) {
    constexpr Asker asker{u"Tavix::SettingsManagerClient::Impl::sendSetPropertiesRequest", u"set properties"};
    return askAboutMany(asker, BREVANT_SETTINGS_SET_BATCH, std::move(payload), timeout, response);
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
    std::vector<JSONView> items;
    if (!response.view().getObjectArray(BREVANT_SETTINGS_RESPONSES, items)) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Failed to set properties. Unable to parse responses.");
        return results;
    }
    for (const JSONView& item : items) {
        std::u16string name;
        bool* const result = resultOf(
            item, function, u"Received unexpected setting property response. Name: %ls.", results, name);
        bool status = false;
        if (result &&
            readStatus(item, name, function,
                       u"Settings Manager failed to set property value. Property Name: %ls", status))
            *result = *result || status;
    }
    return results;
}

bool SettingsManagerClient::Impl::requestRemoval(const Asker& asker, const std::vector<std::u16string>& names,
                                                 bool arePrefixes, Timeout timeout, JSONFormatter& response,
                                                 std::vector<JSONView>& items) {
    std::shared_ptr<Reply> reply;
    if (!request(asker, BREVANT_SETTINGS_REMOVE_BATCH, namesRequest(names, arePrefixes), timeout, reply))
        return false;
    if (!getSettingPropertyResponseList(reply, response)) {
        // The request itself succeeded.
        constexpr uint32_t status = MODULE_STATUS_SUCCESS;  // compat
        LOG_FORMATTED(ETWLogging::levelWarning, asker.function,
                      u"Failed to parse remove properties response. Error code: %ls(%lu)",
                      moduleStatusName(status), status);
        return false;
    }
    if (!response.view().getObjectArray(BREVANT_SETTINGS_RESPONSES, items)) {
        LOG_MESSAGE(ETWLogging::levelError, asker.function,
                    u"Failed to parse statuses from remove properties response.");
        return false;
    }
    return true;
}

bool SettingsManagerClient::Impl::readName(const JSONView& item, std::u16string_view function,
                                           std::u16string& name, std::u16string_view nameless) {
    if (item.getString(BREVANT_SETTINGS_NAME, name))
        return true;
    LOG_MESSAGE(ETWLogging::levelWarning, function, nameless);
    return false;
}

bool SettingsManagerClient::Impl::readStatus(const JSONView& item, const std::u16string& name,
                                             std::u16string_view function, std::u16string_view failure,
                                             bool& status) {
    if (!item.getBool(BREVANT_SETTINGS_STATUS, status)) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to read settings manager response status. Property Name: %ls", name);
        return false;
    }
    if (!status)
        LOG_FORMATTED(ETWLogging::levelWarning, function, failure, name);
    return true;
}

bool* SettingsManagerClient::Impl::resultOf(const JSONView& item, std::u16string_view function,
                                            std::u16string_view unexpected, ResultMap& results,
                                            std::u16string& name) {
    if (!readName(item, function, name))
        return nullptr;
    const auto found = results.find(name);
    if (found != results.end())
        return &found->second;
    LOG_FORMATTED(ETWLogging::levelWarning, function, unexpected, name);
    return nullptr;
}

void SettingsManagerClient::Impl::logConversionFailure(Ferrow::NumberError error) {
    LOG_MESSAGE(ETWLogging::levelWarning, u"Tavix::SettingsManagerClient::Impl::tryConvert",
                error == Ferrow::NumberError::outOfRange
                    ? u"Conversion failed, out of range for destination type."
                    : u"Conversion failed due to invalid arguments.");
}

}  // namespace Tavix
