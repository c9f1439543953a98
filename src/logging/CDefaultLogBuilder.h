#pragma once

#include "logging/CLogBuilderIf.h"

namespace ETWLogging {

// Builds the logger that the identity's mechanism or else the registry asks for: event tracing, or files
// where the system has no event tracing or refuses it.
class CDefaultLogBuilder : public CLogBuilderIf_ex {
public:
    // Starts with the process's identity.
    CDefaultLogBuilder();

    void setIdentity(const LoggingIdentity& identity) override;
    std::shared_ptr<CLoggingIf_ex> build() override;

private:
    LoggingIdentity identity_;
};

}  // namespace ETWLogging
