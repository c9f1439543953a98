#include "logging/CDefaultLogBuilder.h"

namespace ETWLogging {

CDefaultLogBuilder::CDefaultLogBuilder() : identity_(loggingIdentity()) {}

void CDefaultLogBuilder::setIdentity(const LoggingIdentity& identity) {
    identity_ = identity;
}

std::shared_ptr<CLoggingIf_ex> CDefaultLogBuilder::build() {
    return nullptr;
}

}  // namespace ETWLogging
