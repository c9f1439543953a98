// Typed access to the named properties that the host keeps for all modules.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Tavix {

// The 32-bit `unsigned long` of the settings protocol: a type of its own, so that it is the same on every
// system.
enum class UnsignedLong : uint32_t {};

// Requests block the calling thread until they are answered or their timeout ends; they may be made from any
// thread, several at once. No operation throws for a failed request, a bad answer or a failed conversion:
// each logs it and returns false, or false entries in its map. Callbacks run on the bus's threads, also after
// their subscription has ended and after this object is gone.
class SettingsManager {
public:
    using Timeout = std::chrono::milliseconds;
    using PropertyList = std::vector<std::pair<std::u16string, std::u16string>>;
    using ResultMap = std::unordered_map<std::u16string, bool>;
    using ValueMap = std::unordered_map<std::u16string, std::u16string>;
    using NameCallback = std::function<void(const std::u16string& name)>;
    using ValueCallback = std::function<void(const std::u16string& name, const std::u16string& value)>;

    virtual ~SettingsManager() = default;

    // Persistent. A null text is an empty one.
    virtual bool setProperty(const std::u16string& name, double value, Timeout timeout) = 0;
    virtual bool setProperty(const std::u16string& name, uint32_t value, Timeout timeout) = 0;
    virtual bool setProperty(const std::u16string& name, uint64_t value, Timeout timeout) = 0;
    virtual bool setProperty(const std::u16string& name, UnsignedLong value, Timeout timeout) = 0;
    virtual bool setProperty(const std::u16string& name, int64_t value, Timeout timeout) = 0;
    virtual bool setProperty(const std::u16string& name, int32_t value, Timeout timeout) = 0;
    virtual bool setProperty(const std::u16string& name, bool value, Timeout timeout) = 0;
    virtual bool setProperty(const std::u16string& name, const char16_t* value, Timeout timeout) = 0;
    virtual bool setProperty(const std::u16string& name, const std::u16string& value, Timeout timeout) = 0;
    // False for every name that the settings manager did not confirm. The list's order is kept.
    virtual ResultMap setProperties(const PropertyList& properties, Timeout timeout) = 0;
    // Not kept by the settings manager beyond its own life.
    virtual bool setVolatileProperty(const std::u16string& name, double value, Timeout timeout) = 0;
    virtual bool setVolatileProperty(const std::u16string& name, uint32_t value, Timeout timeout) = 0;
    virtual bool setVolatileProperty(const std::u16string& name, uint64_t value, Timeout timeout) = 0;
    virtual bool setVolatileProperty(const std::u16string& name, UnsignedLong value, Timeout timeout) = 0;
    virtual bool setVolatileProperty(const std::u16string& name, int64_t value, Timeout timeout) = 0;
    virtual bool setVolatileProperty(const std::u16string& name, int32_t value, Timeout timeout) = 0;
    virtual bool setVolatileProperty(const std::u16string& name, bool value, Timeout timeout) = 0;
    virtual bool setVolatileProperty(const std::u16string& name, const char16_t* value, Timeout timeout) = 0;
    virtual bool setVolatileProperty(const std::u16string& name, const std::u16string& value,
                                     Timeout timeout) = 0;
    virtual ResultMap setVolatileProperties(const PropertyList& properties, Timeout timeout) = 0;  // compat
    // A failure leaves the value as it was. Numbers may be followed by other text.
    virtual bool getProperty(const std::u16string& name, double& value, Timeout timeout) = 0;
    virtual bool getProperty(const std::u16string& name, uint32_t& value, Timeout timeout) = 0;
    virtual bool getProperty(const std::u16string& name, uint64_t& value, Timeout timeout) = 0;
    virtual bool getProperty(const std::u16string& name, UnsignedLong& value, Timeout timeout) = 0;
    virtual bool getProperty(const std::u16string& name, int64_t& value, Timeout timeout) = 0;
    virtual bool getProperty(const std::u16string& name, int32_t& value, Timeout timeout) = 0;
    virtual bool getProperty(const std::u16string& name, bool& value, Timeout timeout) = 0;
    virtual bool getProperty(const std::u16string& name, std::u16string& value, Timeout timeout) = 0;
    // Values are added to the map under their names.
    virtual ResultMap getProperties(const std::vector<std::u16string>& names, ValueMap& values,
                                    Timeout timeout) = 0;
    // True when an answer came that could be read, whatever it holds.
    virtual bool getPropertiesByPrefix(const std::vector<std::u16string>& prefixes, ValueMap& values,
                                       Timeout timeout) = 0;
    virtual bool getPropertiesByPrefix(const std::u16string& prefix, ValueMap& values, Timeout timeout) = 0;
    virtual bool removeProperty(const std::u16string& name, Timeout timeout) = 0;
    virtual ResultMap removeProperties(const std::vector<std::u16string>& names, Timeout timeout) = 0;
    // The answer's names are entered as they come.
    virtual ResultMap removePropertiesByPrefix(const std::vector<std::u16string>& prefixes,
                                               Timeout timeout) = 0;
    // True when the answer names the prefix itself with success.
    virtual bool removePropertiesByPrefix(const std::u16string& prefix, Timeout timeout) = 0;
    // Broadcast notifications: of the property with exactly this name, or of every property. True when the
    // bus accepted the subscription.
    virtual bool registerPropertySetCallback(const std::u16string& name, NameCallback callback) = 0;
    virtual bool registerPropertySetCallback(NameCallback callback) = 0;
    // Notifications per name. The name is the head of a regular expression, not escaped: it also matches
    // every longer name. Unsubscribing from an empty name does nothing and succeeds.
    virtual bool subscribeSet(ValueCallback callback, const std::u16string& name) = 0;  // compat
    virtual bool unsubscribeSet(const std::u16string& name) = 0;
    virtual bool subscribeDelete(NameCallback callback, const std::u16string& name) = 0;
    virtual bool unsubscribeDelete(const std::u16string& name) = 0;
    virtual bool registerPropertyRemovedCallback(const std::u16string& name, NameCallback callback) = 0;
    virtual bool registerPropertyRemovedCallback(NameCallback callback) = 0;
};

}  // namespace Tavix
