#include "SettingsProtocol.h"

#include <brevant/settings.h>

#include "json/JSONFormatter.h"

namespace Host {
namespace {

using Tavix::JSONFormatter;
using Tavix::JSONView;

JSONFormatter response(const std::u16string& name, bool status) {
    JSONFormatter formatter;
    formatter.setString(BREVANT_SETTINGS_NAME, name);
    formatter.setBool(BREVANT_SETTINGS_STATUS, status);
    return formatter;
}

JSONFormatter response(const std::u16string& name, const std::optional<std::u16string>& value) {
    JSONFormatter formatter = response(name, value.has_value());
    if (value)
        formatter.setString(BREVANT_SETTINGS_VALUE, *value);
    return formatter;
}

void announceSet(SettingsAnswer& answer, const Property& property) {
    JSONFormatter payload;
    payload.setString(BREVANT_SETTINGS_NAME, property.name);
    answer.notices.push_back({BREVANT_SETTINGS_WAS_SET, payload.toString()});
    payload.setString(BREVANT_SETTINGS_VALUE, property.value);
    answer.notices.push_back({BREVANT_SETTINGS_NOTIFY_SET + property.name, payload.toString()});
}

void announceRemoved(SettingsAnswer& answer, const std::u16string& name) {
    JSONFormatter payload;
    payload.setString(BREVANT_SETTINGS_NAME, name);
    answer.notices.push_back({BREVANT_SETTINGS_WAS_REMOVED, payload.toString()});
    answer.notices.push_back({BREVANT_SETTINGS_NOTIFY_DELETE + name, payload.toString()});
}

bool readProperty(const JSONView& item, Property& property) {
    item.getBool(BREVANT_SETTINGS_VOLATILE, property.isVolatile);
    return item.getString(BREVANT_SETTINGS_NAME, property.name) &&
           item.getString(BREVANT_SETTINGS_VALUE, property.value);
}

SettingsAnswer answerOne(SettingsStore& store, std::u16string_view topic, const JSONView& request) {
    SettingsAnswer answer;
    std::u16string name;
    if (!request.getString(BREVANT_SETTINGS_NAME, name)) {
        answer.payload = response({}, false).toString();
        return answer;
    }
    answer.understood = true;
    if (topic == BREVANT_SETTINGS_GET) {
        answer.payload = response(name, store.get(name)).toString();
        return answer;
    }
    bool done = false;
    if (topic == BREVANT_SETTINGS_SET) {
        Property property;
        answer.understood = readProperty(request, property);
        done = answer.understood && store.set({property}).front();
        if (done)
            announceSet(answer, property);
    } else {
        done = store.remove({name}).front();
        if (done)
            announceRemoved(answer, name);
    }
    answer.payload = response(name, done).toString();
    return answer;
}

using Responses = std::vector<JSONFormatter>;

// UTF-16 units of the values of one answer. What a request asks for beyond it, by asking for the same again
// and again, is answered as missing.
constexpr size_t maximumAnswer = size_t{2} * SettingsStore::maximumUnits;

void getMany(SettingsStore& store, const std::vector<JSONView>& items, Responses& responses,
             SettingsAnswer& answer) {
    size_t units = 0;
    const auto respond = [&](const std::u16string& name, std::optional<std::u16string> value) {
        units += name.size() + (value ? value->size() : 0);
        if (units > maximumAnswer)
            value.reset();
        responses.push_back(response(name, value));
    };
    for (const JSONView& item : items) {
        std::u16string name;
        bool isPrefix = false;
        item.getBool(BREVANT_SETTINGS_IS_PREFIX, isPrefix);
        if (!item.getString(BREVANT_SETTINGS_NAME, name)) {
            answer.understood = false;
        } else if (!isPrefix) {
            respond(name, store.get(name));
        } else if (units <= maximumAnswer) {
            for (Property& property : store.withPrefix(name))
                respond(property.name, std::move(property.value));
        }
    }
}

void setMany(SettingsStore& store, const std::vector<JSONView>& items, Responses& responses,
             SettingsAnswer& answer) {
    std::vector<Property> properties;
    for (const JSONView& item : items) {
        Property property;
        if (readProperty(item, property)) {
            properties.push_back(std::move(property));
            continue;
        }
        answer.understood = false;
        if (!property.name.empty())
            responses.push_back(response(property.name, false));
    }
    const std::vector<bool> outcomes = store.set(properties);
    for (size_t at = 0; at < properties.size(); ++at) {
        responses.push_back(response(properties[at].name, outcomes[at]));
        if (outcomes[at])
            announceSet(answer, properties[at]);
    }
}

void removeMany(SettingsStore& store, const std::vector<JSONView>& items, Responses& responses,
                SettingsAnswer& answer) {
    std::vector<std::u16string> names;
    std::vector<std::u16string> prefixes;
    for (const JSONView& item : items) {
        std::u16string name;
        bool isPrefix = false;
        item.getBool(BREVANT_SETTINGS_IS_PREFIX, isPrefix);
        if (!item.getString(BREVANT_SETTINGS_NAME, name))
            answer.understood = false;
        else
            (isPrefix ? prefixes : names).push_back(std::move(name));
    }
    const std::vector<bool> outcomes = store.remove(names);
    for (size_t at = 0; at < names.size(); ++at) {
        responses.push_back(response(names[at], outcomes[at]));
        if (outcomes[at])
            announceRemoved(answer, names[at]);
    }
    for (const std::u16string& prefix : prefixes) {
        const auto removed = prefix.empty() ? std::nullopt : store.removePrefix(prefix);
        responses.push_back(response(prefix, removed.has_value()));
        for (const std::u16string& name : removed.value_or(std::vector<std::u16string>()))
            announceRemoved(answer, name);
    }
}

}  // namespace

SettingsAnswer answerSettingsRequest(SettingsStore& store, std::u16string_view topic,
                                     const std::u16string& payload) {
    JSONFormatter request;
    const bool parsed = request.parse(payload);
    if (topic == BREVANT_SETTINGS_GET || topic == BREVANT_SETTINGS_SET || topic == BREVANT_SETTINGS_REMOVE)
        return answerOne(store, topic, parsed ? request.view() : JSONView());

    SettingsAnswer answer;
    Responses responses;
    std::vector<JSONView> items;
    if (parsed && request.view().getObjectArray(BREVANT_SETTINGS_PROPERTIES, items)) {
        answer.understood = true;
        if (topic == BREVANT_SETTINGS_GET_BATCH)
            getMany(store, items, responses, answer);
        else if (topic == BREVANT_SETTINGS_SET_BATCH)
            setMany(store, items, responses, answer);
        else
            removeMany(store, items, responses, answer);
    }
    JSONFormatter whole;
    whole.setObjectArray(BREVANT_SETTINGS_RESPONSES, responses);
    answer.payload = whole.toString();
    return answer;
}

}  // namespace Host
