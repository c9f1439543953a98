#pragma once

#include "logging/CETWLogging.h"
#include "logging/CLogBuilderIf.h"
#include "platform/Registry.h"
#include "platform/TraceProvider.h"

namespace ETWLogging {

// Builds the logger that the identity's mechanism or else the number "Logging Mechanism" in the registry asks
// for: 1 is event tracing, anything else files. Where the system has no event tracing, or refuses it, files
// serve whatever is asked for.
class CDefaultLogBuilder : public CLogBuilderIf_ex {
public:
    // The registry outlives the loggers that are built. levelsChanged is called when a logger's
    // enabledLevels() have changed by themselves.
    explicit CDefaultLogBuilder(CETWLogging::LevelsChanged levelsChanged,
                                const Platform::Registry& registry = Platform::Registry::protectedReader(),
                                CETWLogging::ProviderMaker makeProvider = Platform::TraceProvider::create);

    void setIdentity(const LoggingIdentity& identity) override;
    std::shared_ptr<CLoggingIf_ex> build() override;

private:
    bool wantsEventTracing() const;
    std::shared_ptr<CLoggingIf_ex> buildEventTracing() const;
    std::shared_ptr<CLoggingIf_ex> buildFiles() const;

    const CETWLogging::LevelsChanged levelsChanged_;
    const Platform::Registry& registry_;
    const CETWLogging::ProviderMaker makeProvider_;
    LoggingIdentity identity_;
};

}  // namespace ETWLogging
