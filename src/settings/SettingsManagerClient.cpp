#include "settings/SettingsManagerClient.h"

#include <exception>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <brevant/status.h>

#include "logging/Log.h"
#include "module/status/ModuleException.h"
#include "module/status/ModuleStatus.h"
#include "settings/SettingsManagerClientImpl.h"
#include "settings/SettingsNotifications.h"
#include "settings/SettingsProtocol.h"
#include "text/Number.h"
#include "text/Utf.h"

namespace Tavix {

using namespace SettingsProtocol;

namespace {

constexpr std::u16string_view logSource = u"SettingsManagerClient";

SettingsManager::ResultMap nothingDone(const std::vector<std::u16string>& names) {
    SettingsManager::ResultMap results;
    for (const std::u16string& name : names)
        results.emplace(name, false);
    return results;
}

bool succeeded(uint32_t status) noexcept {
    return status == MODULE_STATUS_SUCCESS;
}

}  // namespace

SettingsManagerClient::SettingsManagerClient(std::shared_ptr<MessageBusClient> bus)
    : impl_(std::make_unique<Impl>(std::move(bus))) {}

SettingsManagerClient::~SettingsManagerClient() = default;

std::unique_ptr<SettingsManager> SettingsManagerClient::getInstance() {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::getInstance";
    try {
        return std::make_unique<SettingsManagerClient>();
    } catch (const ModuleException& exception) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to create settings manager client. Caught ModuleException - what: %hs.",
                      exception.what());
    } catch (const std::bad_alloc&) {
        LOG_MESSAGE(
            ETWLogging::levelError, function,
            u"Failed to create settings manager client. Caught bad_alloc - Failed to alllocate resources.");
    } catch (const std::exception& exception) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Faield to create setting smanager client. Caught standard exception - what: %hs.",
                      exception.what());
    } catch (...) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Failed to create settings manager client. Caught unexpected exception.");
    }
    return nullptr;
}

bool SettingsManagerClient::setProperty(const std::u16string& name, double value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::generalReal(value), false, timeout);
}

bool SettingsManagerClient::setProperty(const std::u16string& name, uint32_t value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimal(value), false, timeout);
}

bool SettingsManagerClient::setProperty(const std::u16string& name, uint64_t value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimal(value), false, timeout);
}

bool SettingsManagerClient::setProperty(const std::u16string& name, UnsignedLong value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimal(static_cast<uint32_t>(value)), false, timeout);
}

bool SettingsManagerClient::setProperty(const std::u16string& name, int64_t value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimalSigned(value), false, timeout);
}

bool SettingsManagerClient::setProperty(const std::u16string& name, int32_t value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimalSigned(value), false, timeout);
}

bool SettingsManagerClient::setProperty(const std::u16string& name, bool value, Timeout timeout) {
    return impl_->setProperty(name, value ? u"1" : u"0", false, timeout);
}

bool SettingsManagerClient::setProperty(const std::u16string& name, const char16_t* value, Timeout timeout) {
    return impl_->setProperty(name, value ? value : u"", false, timeout);
}

bool SettingsManagerClient::setProperty(const std::u16string& name, const std::u16string& value,
                                        Timeout timeout) {
    return impl_->setProperty(name, value, false, timeout);
}

SettingsManager::ResultMap SettingsManagerClient::setProperties(const PropertyList& properties,
                                                                Timeout timeout) {
    return impl_->setProperties(properties, false, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, double value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::fixedReal(value), true, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, uint32_t value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimal(value), true, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, uint64_t value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimal(value), true, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, UnsignedLong value,
                                                Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimal(static_cast<uint32_t>(value)), true, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, int64_t value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimalSigned(value), true, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, int32_t value, Timeout timeout) {
    return impl_->setProperty(name, Ferrow::decimalSigned(value), true, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, bool value, Timeout timeout) {
    return impl_->setProperty(name, value ? u"1" : u"0", true, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, const char16_t* value,
                                                Timeout timeout) {
    return impl_->setProperty(name, value ? value : u"", true, timeout);
}

bool SettingsManagerClient::setVolatileProperty(const std::u16string& name, const std::u16string& value,
                                                Timeout timeout) {
    return impl_->setProperty(name, value, true, timeout);
}

SettingsManager::ResultMap SettingsManagerClient::setVolatileProperties(const PropertyList& properties,
                                                                        Timeout timeout) {
    return impl_->setProperties(properties, true, timeout);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, double& value, Timeout timeout) {
    std::u16string text;
    return getProperty(name, text, timeout) && Impl::tryConvert(Ferrow::parseReal(text), value);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, uint32_t& value, Timeout timeout) {
    std::u16string text;
    return getProperty(name, text, timeout) && Impl::tryConvert(Ferrow::parseUnsigned32(text), value);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, uint64_t& value, Timeout timeout) {
    std::u16string text;
    return getProperty(name, text, timeout) && Impl::tryConvert(Ferrow::parseUnsigned64(text), value);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, UnsignedLong& value, Timeout timeout) {
    std::u16string text;
    return getProperty(name, text, timeout) && Impl::tryConvert(Ferrow::parseUnsigned32(text), value);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, int64_t& value, Timeout timeout) {
    std::u16string text;
    return getProperty(name, text, timeout) && Impl::tryConvert(Ferrow::parseSigned64(text), value);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, int32_t& value, Timeout timeout) {
    std::u16string text;
    return getProperty(name, text, timeout) && Impl::tryConvert(Ferrow::parseSigned32(text), value);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, bool& value, Timeout timeout) {
    std::u16string text;
    return getProperty(name, text, timeout) && Impl::tryConvert(Ferrow::parseSigned32(text), value);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, std::u16string& value, Timeout timeout) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::getProperty";
    std::shared_ptr<Reply> reply;
    const uint32_t requested = impl_->request(getPropertyRequest, nameRequest(name), timeout, reply);
    if (requested != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to make get property request. Error code: %ls(%lu)",
                      moduleStatusName(requested), requested);
        return false;
    }
    JSONFormatter response;
    return impl_->getSettingPropertyResponse(reply, response) &&
           impl_->verifyPropertyName(response.view(), name) &&
           impl_->getPropertyValue(response.view(), value);
}

SettingsManager::ResultMap SettingsManagerClient::getProperties(const std::vector<std::u16string>& names,
                                                                ValueMap& values, Timeout timeout) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::getProperties";
    ResultMap results = nothingDone(names);
    std::shared_ptr<Reply> reply;
    const uint32_t requested =
        impl_->request(getPropertiesRequest, namesRequest(names, false), timeout, reply);
    if (requested != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to make get properties request. Error code: %ls(%lu)",
                      moduleStatusName(requested), requested);
        return results;
    }
    JSONFormatter response;
    Impl::Responses responses;
    if (!impl_->getSettingPropertyResponseList(reply, response) ||
        !response.view().getObjectArray(responsesKey, responses))
        return results;
    for (const JSONView& item : responses) {
        std::u16string name, value;
        if (!item.getString(nameKey, name)) {
            LOG_MESSAGE(ETWLogging::levelWarning, function,
                        u"Failed to read settings property response name.");
            continue;
        }
        const auto result = results.find(name);
        if (result == results.end()) {
            LOG_FORMATTED(ETWLogging::levelWarning, function,
                          u"Received an unexpected setting property. Name: %ls.", name);
            continue;
        }
        if (impl_->getPropertyValue(item, value)) {
            result->second = true;
            values[name] = std::move(value);
        }
    }
    return results;
}

bool SettingsManagerClient::getPropertiesByPrefix(const std::vector<std::u16string>& prefixes,
                                                  ValueMap& values, Timeout timeout) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::getPropertiesByPrefix";
    std::shared_ptr<Reply> reply;
    const uint32_t requested =
        impl_->request(getPropertiesRequest, namesRequest(prefixes, true), timeout, reply);
    if (requested != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to make get properties request. Error code: %ls(%lu)",
                      moduleStatusName(requested), requested);
        return false;
    }
    JSONFormatter response;
    Impl::Responses responses;
    if (!impl_->getSettingPropertyResponseList(reply, response) ||
        !response.view().getObjectArray(responsesKey, responses))
        return false;
    for (const JSONView& item : responses) {
        std::u16string name, value;
        if (!item.getString(nameKey, name)) {
            LOG_MESSAGE(ETWLogging::levelWarning, function,
                        u"Failed to read settings property response name. Skipping");
            continue;
        }
        if (impl_->getPropertyValue(item, value))
            values[name] = std::move(value);
    }
    return true;
}

bool SettingsManagerClient::getPropertiesByPrefix(const std::u16string& prefix, ValueMap& values,
                                                  Timeout timeout) {
    return getPropertiesByPrefix(std::vector<std::u16string>{prefix}, values, timeout);
}

bool SettingsManagerClient::removeProperty(const std::u16string& name, Timeout timeout) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::removeProperty";
    std::shared_ptr<Reply> reply;
    const uint32_t requested = impl_->request(removePropertyRequest, nameRequest(name), timeout, reply);
    if (requested != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelWarning, function,
                      u"Failed to make remove property request. Error code: %ls(%lu)",
                      moduleStatusName(requested), requested);
        return false;
    }
    JSONFormatter response;
    if (!impl_->getSettingPropertyResponse(reply, response) ||
        !impl_->verifyPropertyName(response.view(), name))
        return false;
    bool status = false;
    if (!response.view().getBool(statusKey, status)) {
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to read settings manager response status.");
        return false;
    }
    if (!status)
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Settings Manager failed to remove property.");
    return status;
}

SettingsManager::ResultMap SettingsManagerClient::removeProperties(const std::vector<std::u16string>& names,
                                                                   Timeout timeout) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::removeProperties";
    ResultMap results = nothingDone(names);
    JSONFormatter response;
    Impl::Responses responses;
    if (!impl_->requestRemoval(names, false, timeout, function,
                               u"Failed to make remove properties request. Error code: %ls(%lu)", response,
                               responses))
        return results;
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
                          u"Received unexpected setting property. Name: %ls.", name);
            continue;
        }
        bool status = false;
        if (Impl::readRemoval(item, name, function, status) && status)
            result->second = true;
    }
    return results;
}

SettingsManager::ResultMap SettingsManagerClient::removePropertiesByPrefix(
    const std::vector<std::u16string>& prefixes, Timeout timeout) {
    constexpr std::u16string_view function = u"Tavix::SettingsManagerClient::removePropertiesByPrefix";
    ResultMap results = nothingDone(prefixes);
    JSONFormatter response;
    Impl::Responses responses;
    if (!impl_->requestRemoval(prefixes, true, timeout, function,
                               u"Failed to make remove properties by prefix request. Error code: %ls(%lu)",
                               response, responses))
        return results;
    for (const JSONView& item : responses) {
        std::u16string name;
        if (!item.getString(nameKey, name)) {
            LOG_MESSAGE(ETWLogging::levelWarning, function,
                        u"Failed to read settings property response name.");
            continue;
        }
        bool status = false;
        if (Impl::readRemoval(item, name, function, status))
            results[name] = status;
    }
    return results;
}

bool SettingsManagerClient::removePropertiesByPrefix(const std::u16string& prefix, Timeout timeout) {
    const ResultMap results = removePropertiesByPrefix(std::vector<std::u16string>{prefix}, timeout);
    const auto result = results.find(prefix);
    return result != results.end() && result->second;
}

bool SettingsManagerClient::registerPropertySetCallback(const std::u16string& name, NameCallback callback) {
    return succeeded(
        impl_->bus().subscribe(propertySet, SettingsNotifications::forBroadcast(name, std::move(callback))));
}

bool SettingsManagerClient::registerPropertySetCallback(NameCallback callback) {
    return succeeded(impl_->bus().subscribe(
        propertySet, SettingsNotifications::forBroadcast(std::nullopt, std::move(callback))));
}

bool SettingsManagerClient::subscribeSet(ValueCallback callback, const std::u16string& name) {
    return succeeded(impl_->bus().subscribeFilter(notifyPattern(notifySetPrefix, name),
                                                  SettingsNotifications::forSet(std::move(callback))));
}

bool SettingsManagerClient::unsubscribeSet(const std::u16string& name) {
    return name.empty() || succeeded(impl_->bus().unsubscribe(notifyPattern(notifySetPrefix, name)));
}

bool SettingsManagerClient::subscribeDelete(NameCallback callback, const std::u16string& name) {
    return succeeded(impl_->bus().subscribeFilter(notifyPattern(notifyDeletePrefix, name),
                                                  SettingsNotifications::forDelete(std::move(callback))));
}

bool SettingsManagerClient::unsubscribeDelete(const std::u16string& name) {
    return name.empty() || succeeded(impl_->bus().unsubscribe(notifyPattern(notifyDeletePrefix, name)));
}

bool SettingsManagerClient::registerPropertyRemovedCallback(const std::u16string& name,
                                                            NameCallback callback) {
    return succeeded(impl_->bus().subscribe(propertyRemoved,
                                            SettingsNotifications::forBroadcast(name, std::move(callback))));
}

bool SettingsManagerClient::registerPropertyRemovedCallback(NameCallback callback) {
    return succeeded(impl_->bus().subscribe(
        propertyRemoved, SettingsNotifications::forBroadcast(std::nullopt, std::move(callback))));
}

}  // namespace Tavix
