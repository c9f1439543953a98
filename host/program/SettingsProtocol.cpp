#include "SettingsProtocol.h"

#include "json/JSONFormatter.h"

namespace Host {
namespace {

using Tavix::JSONFormatter;
using Tavix::JSONView;

constexpr const char16_t* keyName = u"name";
constexpr const char16_t* keyValue = u"value";
constexpr const char16_t* keyStatus = u"status";
constexpr const char16_t* keyResponses = u"responses";

JSONFormatter response(const std::u16string& name, bool status) {
    JSONFormatter formatter;
    formatter.setString(keyName, name);
    formatter.setBool(keyStatus, status);
    return formatter;
}

JSONFormatter response(const std::u16string& name, const std::optional<std::u16string>& value) {
    JSONFormatter formatter = response(name, value.has_value());
    if (value)
        formatter.setString(keyValue, *value);
    return formatter;
}

void announceSet(SettingsAnswer& answer, const Property& property) {
    JSONFormatter payload;
    payload.setString(keyName, property.name);
    answer.notices.push_back({std::u16string(SettingsTopic::wasSet), payload.toString()});
    payload.setString(keyValue, property.value);
    answer.notices.push_back({std::u16string(SettingsTopic::setPrefix) + property.name, payload.toString()});
}

void announceRemoved(SettingsAnswer& answer, const std::u16string& name) {
    JSONFormatter payload;
    payload.setString(keyName, name);
    answer.notices.push_back({std::u16string(SettingsTopic::wasRemoved), payload.toString()});
    answer.notices.push_back({std::u16string(SettingsTopic::deletePrefix) + name, payload.toString()});
}

bool readProperty(const JSONView& item, Property& property) {
    item.getBool(u"volatile", property.isVolatile);
    return item.getString(keyName, property.name) && item.getString(keyValue, property.value);
}

SettingsAnswer answerOne(SettingsStore& store, std::u16string_view topic, const JSONView& request) {
    SettingsAnswer answer;
    std::u16string name;
    if (!request.getString(keyName, name)) {
        answer.payload = response({}, false).toString();
        return answer;
    }
    answer.understood = true;
    if (topic == SettingsTopic::get) {
        answer.payload = response(name, store.get(name)).toString();
        return answer;
    }
    bool done = false;
    if (topic == SettingsTopic::set) {
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
        item.getBool(u"isPrefix", isPrefix);
        if (!item.getString(keyName, name)) {
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
        item.getBool(u"isPrefix", isPrefix);
        if (!item.getString(keyName, name))
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
    if (topic == SettingsTopic::get || topic == SettingsTopic::set || topic == SettingsTopic::remove)
        return answerOne(store, topic, parsed ? request.view() : JSONView());

    SettingsAnswer answer;
    Responses responses;
    std::vector<JSONView> items;
    if (parsed && request.view().getObjectArray(u"properties", items)) {
        answer.understood = true;
        if (topic == SettingsTopic::getMany)
            getMany(store, items, responses, answer);
        else if (topic == SettingsTopic::setMany)
            setMany(store, items, responses, answer);
        else
            removeMany(store, items, responses, answer);
    }
    JSONFormatter whole;
    whole.setObjectArray(keyResponses, responses);
    answer.payload = whole.toString();
    return answer;
}

}  // namespace Host
