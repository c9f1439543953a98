// Who logs: set once by NewModule, before the first record.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ETWLogging {

constexpr std::u16string_view unsetLogGroup = u"_no_group";
constexpr std::u16string_view unsetLogHost = u"_no_host";

struct LoggingIdentity {
    std::u16string group{unsetLogGroup};
    std::u16string host{unsetLogHost};
    uint32_t mechanism = 0;  // 0: decided by the registry, 1: event tracing
};

// Sets the group and clears the other values. Has no effect on a logger that has been built.
void setLogGroup(const std::u16string& group);
LoggingIdentity loggingIdentity();

}  // namespace ETWLogging
