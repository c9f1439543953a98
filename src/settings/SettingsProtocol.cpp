#include "settings/SettingsProtocol.h"

#include <brevant/settings.h>

#include "json/JSONTextWriter.h"

namespace Tavix::SettingsProtocol {

namespace {

void writeName(JSONTextWriter& json, const std::u16string& name, bool isPrefix = false) {
    json.StartObject();
    json.Key(BREVANT_SETTINGS_NAME);
    json.String(name);
    if (isPrefix) {
        json.Key(BREVANT_SETTINGS_IS_PREFIX);
        json.Bool(true);
    }
    json.EndObject();
}

void writeProperty(JSONTextWriter& json, const std::u16string& name, const std::u16string& value,
                   bool isVolatile) {
    json.StartObject();
    json.Key(BREVANT_SETTINGS_NAME);
    json.String(name);
    json.Key(BREVANT_SETTINGS_VALUE);
    json.String(value);
    json.Key(BREVANT_SETTINGS_VOLATILE);
    json.Bool(isVolatile);
    json.EndObject();
}

// {"properties":[...]} with one item for each element.
template <class Elements, class Write>
std::u16string listRequest(const Elements& elements, Write write) {
    JSONTextSink sink;
    JSONTextWriter json(sink);
    json.StartObject();
    json.Key(BREVANT_SETTINGS_PROPERTIES);
    json.StartArray();
    for (const auto& element : elements)
        write(json, element);
    json.EndArray();
    json.EndObject();
    return sink.take();
}

}  // namespace

std::u16string nameRequest(const std::u16string& name) {
    JSONTextSink sink;
    JSONTextWriter json(sink);
    writeName(json, name);
    return sink.take();
}

std::u16string setRequest(const std::u16string& name, const std::u16string& value, bool isVolatile) {
    JSONTextSink sink;
    JSONTextWriter json(sink);
    writeProperty(json, name, value, isVolatile);
    return sink.take();
}

std::u16string namesRequest(const std::vector<std::u16string>& names, bool arePrefixes) {
    return listRequest(
        names, [&](JSONTextWriter& json, const std::u16string& name) { writeName(json, name, arePrefixes); });
}

std::u16string setListRequest(const SettingsManager::PropertyList& properties, bool isVolatile) {
    return listRequest(properties, [&](JSONTextWriter& json, const auto& property) {
        writeProperty(json, property.first, property.second, isVolatile);
    });
}

std::u16string notifyPattern(const char16_t* prefix, const std::u16string& name) {
    return std::u16string(u"^").append(prefix).append(name).append(u".*");  // compat
}

}  // namespace Tavix::SettingsProtocol
