#include "host/program/settings/SettingsAnswer.h"

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

void announceSet(SettingsAnswer& answer, const std::u16string& name, const std::u16string& value) {
    JSONFormatter payload;
    payload.setString(BREVANT_SETTINGS_NAME, name);
    answer.notices.push_back({BREVANT_SETTINGS_WAS_SET, payload.toString()});
    payload.setString(BREVANT_SETTINGS_VALUE, value);
    answer.notices.push_back({BREVANT_SETTINGS_NOTIFY_SET + name, payload.toString()});
}

void announceRemoved(SettingsAnswer& answer, const std::u16string& name) {
    JSONFormatter payload;
    payload.setString(BREVANT_SETTINGS_NAME, name);
    answer.notices.push_back({BREVANT_SETTINGS_WAS_REMOVED, payload.toString()});
    answer.notices.push_back({BREVANT_SETTINGS_NOTIFY_DELETE + name, payload.toString()});
}

// What this change has shown of the changes of other hosts, which comes before it.
void announceOthers(SettingsAnswer& answer, SettingsStore& store) {
    for (const PropertyChange& change : store.takeChangesOfOthers()) {
        if (change.value)
            announceSet(answer, change.name, *change.value);
        else
            announceRemoved(answer, change.name);
    }
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
        announceOthers(answer, store);
        if (done)
            announceSet(answer, name, property.value);
    } else {
        done = store.remove({name}).front();
        announceOthers(answer, store);
        if (done)
            announceRemoved(answer, name);
    }
    answer.payload = response(name, done).toString();
    return answer;
}

// The answer to a batch. What a request asks for beyond what one message carries, with many values or by
// asking for the same again and again, is left out: its sender takes it as missing.
class Responses {
public:
    bool isFull() const { return full_; }
    void add(const JSONFormatter& response) {
        const std::u16string text = response.toString();
        full_ = full_ || responses_.size() + text.size() > maximumUnits;
        if (full_)
            return;
        responses_ += responses_.empty() ? u"" : u",";
        responses_ += text;
    }
    std::u16string answer() const { return u"{\"" BREVANT_SETTINGS_RESPONSES u"\":[" + responses_ + u"]}"; }

private:
    // UTF-16 units; well below what a bus takes from one sender.
    static constexpr size_t maximumUnits = size_t{24} * 1024 * 1024;
    std::u16string responses_;
    bool full_ = false;
};

void getMany(SettingsStore& store, const std::vector<JSONView>& items, Responses& responses,
             SettingsAnswer& answer) {
    for (const JSONView& item : items) {
        if (responses.isFull())
            return;
        std::u16string name;
        bool isPrefix = false;
        item.getBool(BREVANT_SETTINGS_IS_PREFIX, isPrefix);
        if (!item.getString(BREVANT_SETTINGS_NAME, name)) {
            answer.understood = false;
        } else if (!isPrefix) {
            responses.add(response(name, store.get(name)));
        } else {
            for (const Property& property : store.withPrefix(name))
                responses.add(response(property.name, property.value));
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
            responses.add(response(property.name, false));
    }
    const std::vector<bool> outcomes = store.set(properties);
    announceOthers(answer, store);
    for (size_t at = 0; at < properties.size(); ++at) {
        responses.add(response(properties[at].name, outcomes[at]));
        if (outcomes[at])
            announceSet(answer, properties[at].name, properties[at].value);
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
    announceOthers(answer, store);
    for (size_t at = 0; at < names.size(); ++at) {
        responses.add(response(names[at], outcomes[at]));
        if (outcomes[at])
            announceRemoved(answer, names[at]);
    }
    for (const std::u16string& prefix : prefixes) {
        const auto removed = prefix.empty() ? std::nullopt : store.removePrefix(prefix);
        announceOthers(answer, store);
        responses.add(response(prefix, removed.has_value()));
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
    answer.payload = responses.answer();
    return answer;
}

}  // namespace Host
