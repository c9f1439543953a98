#pragma once

#include <string_view>

namespace ETWLogging {

// Below the common data folder: where the logs of all programs are.
constexpr std::u16string_view logsFolder = u"\\Corvane\\CVLOGS";

}  // namespace ETWLogging
