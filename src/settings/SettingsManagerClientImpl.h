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
    // Who asks for what, in the log records.
    struct Asker {
        std::u16string_view function;
        std::u16string_view what;  // as in "get property"
    };

    // Creates a bus client when there is none; throws what that throws.
    explicit Impl(std::shared_ptr<MessageBusClient> bus);

    MessageBusClient& bus() const noexcept { return *bus_; }

    // False unless there is an answer, and it is about that name.
    bool askAboutOne(const Asker& asker, const char16_t* topic, std::u16string payload,
                     const std::u16string& name, Timeout timeout, JSONFormatter& response);
    // False when there is no answer that can be read.
    bool askAboutMany(const Asker& asker, const char16_t* topic, std::u16string payload, Timeout timeout,
                      JSONFormatter& response);
    // False unless the answer tells of a success; a failure is logged as such.
    static bool confirmed(const JSONView& response, std::u16string_view function,
                          std::u16string_view failure);
    // A property that does not exist is an answer like any other: false, and not logged.
    static bool getPropertyValue(const JSONView& response, std::u16string& value);

    template <class Parse, class T>
    bool getNumber(SettingsManagerClient& client, const std::u16string& name, T& value, Timeout timeout,
                   Parse parse) {
        std::u16string text;
        return client.getProperty(name, text, timeout) && tryConvert(parse(text), value);  // compat
    }
    bool setProperty(const std::u16string& name, const std::u16string& value, bool isVolatile,
                     Timeout timeout);
    ResultMap setProperties(const PropertyList& properties, bool isVolatile, Timeout timeout);

    // Removes a batch. The items stand in the response.
    bool requestRemoval(const Asker& asker, const std::vector<std::u16string>& names, bool arePrefixes,
                        Timeout timeout, JSONFormatter& response, std::vector<JSONView>& items);

    // What a batch's items are about.
    static bool readName(const JSONView& item, std::u16string_view function, std::u16string& name,
                         std::u16string_view nameless = u"Failed to read settings property response name.");
    // False when the item has no status; a status of false is logged with the failure's format.
    static bool readStatus(const JSONView& item, const std::u16string& name, std::u16string_view function,
                           std::u16string_view failure, bool& status);
    // The place of an item's name in the results; null for an item without a name or with one that was not
    // asked for, which is logged with the format.
    static bool* resultOf(const JSONView& item, std::u16string_view function, std::u16string_view unexpected,
                          ResultMap& results, std::u16string& name);

private:
    // Sends a request and waits for its end.
    bool request(const Asker& asker, const char16_t* topic, std::u16string payload, Timeout timeout,
                 std::shared_ptr<Reply>& reply);
    bool sendSetPropertiesRequest(std::u16string payload, Timeout timeout, JSONFormatter& response);
    // They fail when the reply cannot be read, not for what it holds.
    static bool getSettingPropertyResponse(const std::shared_ptr<Reply>& reply, JSONFormatter& response);
    static bool getSettingPropertyResponseList(const std::shared_ptr<Reply>& reply, JSONFormatter& response);
    static bool verifyPropertyName(const JSONView& response, const std::u16string& expected);

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
    static void logConversionFailure(Ferrow::NumberError error);

    const std::shared_ptr<MessageBusClient> bus_;
};

}  // namespace Tavix
