#include "settings/SettingsManagerClient.h"

#include <exception>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <brevant/settings.h>
#include <brevant/status.h>

#include "logging/Log.h"
#include "settings/SettingsManagerClientImpl.h"
#include "settings/SettingsNotifications.h"
#include "settings/SettingsProtocol.h"
#include "status/ModuleException.h"
#include "text/Number.h"
#include "text/Utf.h"

namespace Tavix {

using namespace SettingsProtocol;

namespace {

constexpr std::u16string_view logSource = u"SettingsManagerClient";
constexpr std::u16string_view notRemoved = u"Settings Manager failed to remove property. Property Name: %ls";

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
            // compat
            u"Failed to create settings manager client. Caught bad_alloc - Failed to alllocate resources.");
    } catch (const std::exception& exception) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      // compat
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
    return impl_->setProperty(name, Ferrow::fixedReal(value), true, timeout);  // compat
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
    return impl_->getNumber(*this, name, value, timeout, Ferrow::parseReal);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, uint32_t& value, Timeout timeout) {
    return impl_->getNumber(*this, name, value, timeout, Ferrow::parseUnsigned32);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, uint64_t& value, Timeout timeout) {
    return impl_->getNumber(*this, name, value, timeout, Ferrow::parseUnsigned64);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, UnsignedLong& value, Timeout timeout) {
    return impl_->getNumber(*this, name, value, timeout, Ferrow::parseUnsigned32);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, int64_t& value, Timeout timeout) {
    return impl_->getNumber(*this, name, value, timeout, Ferrow::parseSigned64);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, int32_t& value, Timeout timeout) {
    return impl_->getNumber(*this, name, value, timeout, Ferrow::parseSigned32);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, bool& value, Timeout timeout) {
    return impl_->getNumber(*this, name, value, timeout, Ferrow::parseSigned32);
}

bool SettingsManagerClient::getProperty(const std::u16string& name, std::u16string& value, Timeout timeout) {
    constexpr Impl::Asker asker{u"Tavix::SettingsManagerClient::getProperty", u"get property"};
    JSONFormatter response;
    return impl_->askAboutOne(asker, BREVANT_SETTINGS_GET, nameRequest(name), name, timeout, response) &&
           Impl::getPropertyValue(response.view(), value);
}

std::optional<bool> SettingsManagerClient::hasProperty(const std::u16string& name, Timeout timeout) {
    constexpr Impl::Asker asker{u"Tavix::SettingsManagerClient::getProperty", u"get property"};
    JSONFormatter response;
    if (!impl_->askAboutOne(asker, BREVANT_SETTINGS_GET, nameRequest(name), name, timeout, response))
        return std::nullopt;
    bool status = false;
    if (response.view().getBool(BREVANT_SETTINGS_STATUS, status))
        return status;
    LOG_MESSAGE(ETWLogging::levelWarning, asker.function,
                u"Failed to read settings manager response status.");
    return std::nullopt;
}

SettingsManager::ResultMap SettingsManagerClient::getProperties(const std::vector<std::u16string>& names,
                                                                ValueMap& values, Timeout timeout) {
    constexpr Impl::Asker asker{u"Tavix::SettingsManagerClient::getProperties", u"get properties"};
    ResultMap results = nothingDone(names);
    JSONFormatter response;
    std::vector<JSONView> items;
    if (!impl_->askAboutMany(asker, BREVANT_SETTINGS_GET_BATCH, namesRequest(names, false), timeout,
                             response) ||
        !response.view().getObjectArray(BREVANT_SETTINGS_RESPONSES, items))
        return results;
    for (const JSONView& item : items) {
        std::u16string name, value;
        bool* const result = Impl::resultOf(
            item, asker.function, u"Received an unexpected setting property. Name: %ls.", results, name);
        if (result && Impl::getPropertyValue(item, value)) {
            *result = true;
            values[name] = std::move(value);
        }
    }
    return results;
}

bool SettingsManagerClient::getPropertiesByPrefix(const std::vector<std::u16string>& prefixes,
                                                  ValueMap& values, Timeout timeout) {
    constexpr Impl::Asker asker{u"Tavix::SettingsManagerClient::getPropertiesByPrefix", u"get properties"};
    JSONFormatter response;
    std::vector<JSONView> items;
    if (!impl_->askAboutMany(asker, BREVANT_SETTINGS_GET_BATCH, namesRequest(prefixes, true), timeout,
                             response) ||
        !response.view().getObjectArray(BREVANT_SETTINGS_RESPONSES, items))
        return false;
    for (const JSONView& item : items) {
        std::u16string name, value;
        if (Impl::readName(item, asker.function, name,
                           u"Failed to read settings property response name. Skipping") &&
            Impl::getPropertyValue(item, value))
            values[name] = std::move(value);
    }
    return true;
}

bool SettingsManagerClient::getPropertiesByPrefix(const std::u16string& prefix, ValueMap& values,
                                                  Timeout timeout) {
    return getPropertiesByPrefix(std::vector<std::u16string>{prefix}, values, timeout);
}

bool SettingsManagerClient::removeProperty(const std::u16string& name, Timeout timeout) {
    constexpr Impl::Asker asker{u"Tavix::SettingsManagerClient::removeProperty", u"remove property"};
    JSONFormatter response;
    return impl_->askAboutOne(asker, BREVANT_SETTINGS_REMOVE, nameRequest(name), name, timeout, response) &&
           Impl::confirmed(response.view(), asker.function, u"Settings Manager failed to remove property.");
}

SettingsManager::ResultMap SettingsManagerClient::removeProperties(const std::vector<std::u16string>& names,
                                                                   Timeout timeout) {
    constexpr Impl::Asker asker{u"Tavix::SettingsManagerClient::removeProperties", u"remove properties"};
    ResultMap results = nothingDone(names);
    JSONFormatter response;
    std::vector<JSONView> items;
    if (!impl_->requestRemoval(asker, names, false, timeout, response, items))
        return results;
    for (const JSONView& item : items) {
        std::u16string name;
        bool* const result = Impl::resultOf(
            // compat
            item, asker.function, u"Received unexpected setting property. Name: %ls.", results, name);
        bool status = false;
        if (result && Impl::readStatus(item, name, asker.function, notRemoved, status))
            *result = *result || status;
    }
    return results;
}

SettingsManager::ResultMap SettingsManagerClient::removePropertiesByPrefix(
    const std::vector<std::u16string>& prefixes, Timeout timeout) {
    constexpr Impl::Asker asker{u"Tavix::SettingsManagerClient::removePropertiesByPrefix",
                                u"remove properties by prefix"};
    ResultMap results = nothingDone(prefixes);
    JSONFormatter response;
    std::vector<JSONView> items;
    if (!impl_->requestRemoval(asker, prefixes, true, timeout, response, items))
        return results;
    for (const JSONView& item : items) {
        std::u16string name;
        bool status = false;
        if (Impl::readName(item, asker.function, name) &&
            Impl::readStatus(item, name, asker.function, notRemoved, status))
            results[name] = status;
    }
    return results;
}

bool SettingsManagerClient::removePropertiesByPrefix(const std::u16string& prefix, Timeout timeout) {
    const ResultMap results = removePropertiesByPrefix(std::vector<std::u16string>{prefix}, timeout);
    const auto result = results.find(prefix);
    return result != results.end() && result->second;  // compat
}

bool SettingsManagerClient::registerPropertySetCallback(const std::u16string& name, NameCallback callback) {
    return succeeded(impl_->bus().subscribe(BREVANT_SETTINGS_WAS_SET,
                                            SettingsNotifications::forBroadcast(name, std::move(callback))));
}

bool SettingsManagerClient::registerPropertySetCallback(NameCallback callback) {
    return succeeded(impl_->bus().subscribe(
        BREVANT_SETTINGS_WAS_SET, SettingsNotifications::forBroadcast(std::nullopt, std::move(callback))));
}

bool SettingsManagerClient::subscribeSet(ValueCallback callback, const std::u16string& name) {
    return succeeded(impl_->bus().subscribeFilter(notifyPattern(BREVANT_SETTINGS_NOTIFY_SET, name),
                                                  SettingsNotifications::forSet(std::move(callback))));
}

bool SettingsManagerClient::unsubscribeSet(const std::u16string& name) {
    return name.empty() ||
           succeeded(impl_->bus().unsubscribe(notifyPattern(BREVANT_SETTINGS_NOTIFY_SET, name)));
}

bool SettingsManagerClient::subscribeDelete(NameCallback callback, const std::u16string& name) {
    return succeeded(impl_->bus().subscribeFilter(notifyPattern(BREVANT_SETTINGS_NOTIFY_DELETE, name),
                                                  SettingsNotifications::forDelete(std::move(callback))));
}

bool SettingsManagerClient::unsubscribeDelete(const std::u16string& name) {
    return name.empty() ||
           succeeded(impl_->bus().unsubscribe(notifyPattern(BREVANT_SETTINGS_NOTIFY_DELETE, name)));
}

bool SettingsManagerClient::registerPropertyRemovedCallback(const std::u16string& name,
                                                            NameCallback callback) {
    return succeeded(impl_->bus().subscribe(BREVANT_SETTINGS_WAS_REMOVED,
                                            SettingsNotifications::forBroadcast(name, std::move(callback))));
}

bool SettingsManagerClient::registerPropertyRemovedCallback(NameCallback callback) {
    return succeeded(
        impl_->bus().subscribe(BREVANT_SETTINGS_WAS_REMOVED,
                               SettingsNotifications::forBroadcast(std::nullopt, std::move(callback))));
}

}  // namespace Tavix
