#include "logging/ETWAppProperties.h"

#include "logging/LoggingConfig.h"
#include "logging/LogsFolder.h"

namespace ETWLogging::internal {
namespace {

constexpr std::u16string_view etlFolder = u"\\ETW";
constexpr std::u16string_view traceFileName = u"cvlogs.etl";
constexpr std::u16string_view defaultSessionName = u"Corvane.{3B9D2C41-7A5E-4f08-9C1D-52E8A0B7F6C3}";
constexpr std::u16string_view defaultOwnerMutexName =
    u"Global\\Corvane.{A41F7E92-6C3B-48d1-9E5A-0B7C2D8F4E16}";
// {7C2E5A10-3B9F-11E0-A4D2-0800200C1B77}
constexpr Platform::Guid defaultSessionId{
    0x7C2E5A10, 0x3B9F, 0x11E0, {0xA4, 0xD2, 0x08, 0x00, 0x20, 0x0C, 0x1B, 0x77}};
// {5F83B2C4-61DA-11E0-9E37-0800200C4D58}
constexpr Platform::Guid defaultProvider{
    0x5F83B2C4, 0x61DA, 0x11E0, {0x9E, 0x37, 0x08, 0x00, 0x20, 0x0C, 0x4D, 0x58}};

void readText(const Platform::RegistryKey* key, std::u16string_view name, std::u16string& value) {
    if (!key)
        return;
    if (auto text = key->readText(name))
        value = std::move(*text);
}

void readGuid(const Platform::RegistryKey* key, std::u16string_view name, Platform::Guid& value) {
    std::u16string text;
    readText(key, name, text);
    if (const auto guid = Platform::parseGuid(text))
        value = *guid;
}

}  // namespace

ETWAppProperties ETWAppProperties::read(const Platform::Registry& registry,
                                        const std::u16string& commonDataFolder) {
    ETWAppProperties properties;
    properties.logPath = std::u16string(commonDataFolder).append(logsFolder);
    properties.etlPath = properties.logPath + std::u16string(etlFolder);
    properties.sessionId = defaultSessionId;
    properties.sessionName = defaultSessionName;
    properties.provider = defaultProvider;
    properties.ownerMutexName = defaultOwnerMutexName;

    const std::u16string path(loggingKey);
    const auto root = registry.openKey(path);
    readText(root.get(), u"Log Path", properties.logPath);
    readText(root.get(), u"ETL Path", properties.etlPath);
    const auto session = registry.openKey(path + u"\\Session");
    readGuid(session.get(), u"Session ID Guid", properties.sessionId);
    readText(session.get(), u"Session Name", properties.sessionName);
    const auto provider = registry.openKey(path + u"\\Provider");
    readGuid(provider.get(), u"Provider Guid", properties.provider);
    const auto controller = registry.openKey(path + u"\\Controller");
    readText(controller.get(), u"Controller Path", properties.controllerPath);
    readText(controller.get(), u"Owner Mutex Name", properties.ownerMutexName);
    return properties;
}

std::u16string ETWAppProperties::traceFile() const {
    return (etlPath + u'\\').append(traceFileName);
}

}  // namespace ETWLogging::internal
