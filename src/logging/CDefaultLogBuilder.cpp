#include "logging/CDefaultLogBuilder.h"

#include <utility>

#include "logging/CLogging.h"
#include "logging/ETWAppProperties.h"
#include "logging/LoggingConfig.h"
#include "platform/Folders.h"
#include "platform/Process.h"

namespace ETWLogging {
namespace {

constexpr uint32_t eventTracing = 1;

}  // namespace

CDefaultLogBuilder::CDefaultLogBuilder(CETWLogging::LevelsChanged levelsChanged,
                                       const Platform::Registry& registry,
                                       CETWLogging::ProviderMaker makeProvider)
    : levelsChanged_(levelsChanged), registry_(registry), makeProvider_(std::move(makeProvider)) {}

void CDefaultLogBuilder::setIdentity(const LoggingIdentity& identity) {
    identity_ = identity;
}

std::shared_ptr<CLoggingIf_ex> CDefaultLogBuilder::build() {
    if (wantsEventTracing()) {
        if (auto logger = buildEventTracing())
            return logger;
    }
    return buildFiles();
}

bool CDefaultLogBuilder::wantsEventTracing() const {
    if (identity_.mechanism == eventTracing)
        return true;
    const auto key = registry_.openKey(loggingKey);
    return key && key->readNumber(u"Logging Mechanism") == eventTracing;
}

std::shared_ptr<CLoggingIf_ex> CDefaultLogBuilder::buildEventTracing() const {
    const auto properties = internal::ETWAppProperties::read(registry_, Platform::commonDataFolder());
    internal::TraceIdentity identity;
    identity.processId = Platform::currentProcessId();
    identity.process = Platform::executablePath();
    identity.host = identity_.host;
    identity.group = identity_.group;
    identity.logName = processFileLogIdentity({}).logName;
    return CETWLogging::create(properties.provider, std::move(identity), registry_, levelsChanged_,
                               makeProvider_);
}

std::shared_ptr<CLoggingIf_ex> CDefaultLogBuilder::buildFiles() const {
    FileLogIdentity identity =
        processFileLogIdentity(identity_.group == unsetLogGroup ? std::u16string() : identity_.group);
    const std::u16string data = Platform::commonDataFolder();
    CLogging::Services services{.commonDataFolder = data,
                                .mutex = Platform::NamedMutex::create(CLogging::mutexName(identity.name),
                                                                      logFolderOf(identity, data))};
    return std::make_shared<CLogging>(std::move(identity), std::move(services));
}

}  // namespace ETWLogging
