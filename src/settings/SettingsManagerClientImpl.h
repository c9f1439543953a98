// What the settings client's operations have in common: requests, replies, conversions.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bus/MessageBusClient.h"
#include "json/JSONFormatter.h"
#include "settings/SettingsManagerClient.h"
#include "text/Number.h"

namespace Tavix {

// Failures are logged where they are found, unless said otherwise.
class SettingsManagerClient::Impl {
public:
    using Responses = std::vector<JSONView>;

    // Creates a bus client when there is none; throws what that throws.
    explicit Impl(std::shared_ptr<MessageBusClient> bus);

    MessageBusClient& bus() const noexcept { return *bus_; }

    // Sends a request and waits for its end. A refusal is the caller's to log.
    uint32_t request(const char16_t* topic, std::u16string payload, Timeout timeout,
                     std::shared_ptr<Reply>& reply);

    // They fail when the reply cannot be read, not for what it holds.
    bool getSettingPropertyResponse(const std::shared_ptr<Reply>& reply, JSONFormatter& response);
    bool getSettingPropertyResponseList(const std::shared_ptr<Reply>& reply, JSONFormatter& response);

    bool verifyPropertyName(const JSONView& response, const std::u16string& expected);
    // A property that does not exist is an answer like any other: false, and not logged.
    bool getPropertyValue(const JSONView& response, std::u16string& value);

    bool setProperty(const std::u16string& name, const std::u16string& value, bool isVolatile,
                     Timeout timeout);
    ResultMap setProperties(const PropertyList& properties, bool isVolatile, Timeout timeout);

    // Removes a batch for the named function. The responses stand in the response document.
    bool requestRemoval(const std::vector<std::u16string>& names, bool arePrefixes, Timeout timeout,
                        std::u16string_view function, std::u16string_view refusal, JSONFormatter& response,
                        Responses& responses);
    // False when an item of a removal's responses has no status.
    static bool readRemoval(const JSONView& item, const std::u16string& name, std::u16string_view function,
                            bool& status);

    // The value keeps what it was unless the conversion went well.
    template <class Number, class T>
    static bool tryConvert(const Ferrow::ParsedNumber<Number>& parsed, T& value) {
        if (!parsed) {
            logConversionFailure(parsed.error);
            return false;
        }
        value = static_cast<T>(parsed.value);
        return true;
    }

private:
    bool sendSetPropertiesRequest(std::u16string payload, Timeout timeout, JSONFormatter& response);
    static bool readReply(const std::shared_ptr<Reply>& reply, JSONFormatter& response,
                          std::u16string_view function, std::u16string_view what);
    static void logConversionFailure(Ferrow::NumberError error);

    const std::shared_ptr<MessageBusClient> bus_;
};

}  // namespace Tavix
