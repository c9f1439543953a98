// The settings manager as reached over the message bus.
#pragma once

#include <memory>
#include <optional>

#include "settings/SettingsManager.h"

namespace Tavix {

class MessageBusClient;

// Keeps nothing between calls but its bus client and the subscriptions on it, which last until they are
// unsubscribed or the bus client is gone.
class SettingsManagerClient : public SettingsManager {
public:
    // An empty bus is replaced by a bus client of its own, whose constructor throws ModuleException.
    explicit SettingsManagerClient(std::shared_ptr<MessageBusClient> bus = nullptr);
    ~SettingsManagerClient() override;
    SettingsManagerClient(const SettingsManagerClient&) = delete;
    SettingsManagerClient& operator=(const SettingsManagerClient&) = delete;

    // A client with a bus client of its own; null, and logged, when that cannot be made.
    static std::unique_ptr<SettingsManager> getInstance();

    bool setProperty(const std::u16string& name, double value, Timeout timeout) override;
    bool setProperty(const std::u16string& name, uint32_t value, Timeout timeout) override;
    bool setProperty(const std::u16string& name, uint64_t value, Timeout timeout) override;
    bool setProperty(const std::u16string& name, UnsignedLong value, Timeout timeout) override;
    bool setProperty(const std::u16string& name, int64_t value, Timeout timeout) override;
    bool setProperty(const std::u16string& name, int32_t value, Timeout timeout) override;
    bool setProperty(const std::u16string& name, bool value, Timeout timeout) override;
    bool setProperty(const std::u16string& name, const char16_t* value, Timeout timeout) override;
    bool setProperty(const std::u16string& name, const std::u16string& value, Timeout timeout) override;
    ResultMap setProperties(const PropertyList& properties, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, double value, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, uint32_t value, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, uint64_t value, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, UnsignedLong value, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, int64_t value, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, int32_t value, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, bool value, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, const char16_t* value, Timeout timeout) override;
    bool setVolatileProperty(const std::u16string& name, const std::u16string& value,
                             Timeout timeout) override;
    ResultMap setVolatileProperties(const PropertyList& properties, Timeout timeout) override;
    bool getProperty(const std::u16string& name, double& value, Timeout timeout) override;
    bool getProperty(const std::u16string& name, uint32_t& value, Timeout timeout) override;
    bool getProperty(const std::u16string& name, uint64_t& value, Timeout timeout) override;
    bool getProperty(const std::u16string& name, UnsignedLong& value, Timeout timeout) override;
    bool getProperty(const std::u16string& name, int64_t& value, Timeout timeout) override;
    bool getProperty(const std::u16string& name, int32_t& value, Timeout timeout) override;
    bool getProperty(const std::u16string& name, bool& value, Timeout timeout) override;
    bool getProperty(const std::u16string& name, std::u16string& value, Timeout timeout) override;
    // Whether there is such a property; nothing when there is no answer that tells.
    std::optional<bool> hasProperty(const std::u16string& name, Timeout timeout);
    ResultMap getProperties(const std::vector<std::u16string>& names, ValueMap& values,
                            Timeout timeout) override;
    bool getPropertiesByPrefix(const std::vector<std::u16string>& prefixes, ValueMap& values,
                               Timeout timeout) override;
    bool getPropertiesByPrefix(const std::u16string& prefix, ValueMap& values, Timeout timeout) override;
    bool removeProperty(const std::u16string& name, Timeout timeout) override;
    ResultMap removeProperties(const std::vector<std::u16string>& names, Timeout timeout) override;
    ResultMap removePropertiesByPrefix(const std::vector<std::u16string>& prefixes, Timeout timeout) override;
    bool removePropertiesByPrefix(const std::u16string& prefix, Timeout timeout) override;
    bool registerPropertySetCallback(const std::u16string& name, NameCallback callback) override;
    bool registerPropertySetCallback(NameCallback callback) override;
    bool subscribeSet(ValueCallback callback, const std::u16string& name) override;
    bool unsubscribeSet(const std::u16string& name) override;
    bool subscribeDelete(NameCallback callback, const std::u16string& name) override;
    bool unsubscribeDelete(const std::u16string& name) override;
    bool registerPropertyRemovedCallback(const std::u16string& name, NameCallback callback) override;
    bool registerPropertyRemovedCallback(NameCallback callback) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace Tavix
