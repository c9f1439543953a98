#pragma once

#include <memory>

#include "logging/CLoggingIf.h"
#include "logging/LoggingIdentity.h"

namespace ETWLogging {

class CLogBuilderIf {
public:
    virtual ~CLogBuilderIf() = default;
    // Null when no logger can be built.
    virtual std::shared_ptr<CLoggingIf_ex> build() = 0;
};

class CLogBuilderIf_ex : public CLogBuilderIf {
public:
    // Whose records the logger writes; before build(), which otherwise takes the identity that is unset.
    virtual void setIdentity(const LoggingIdentity& identity) = 0;
};

}  // namespace ETWLogging
