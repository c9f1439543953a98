// Error numbers of this system in the numbers that the product reports.
#pragma once

#include <cstdint>

namespace Platform {

constexpr uint32_t errorFileNotFound = 2;
constexpr uint32_t errorPathNotFound = 3;
constexpr uint32_t errorAccessDenied = 5;
constexpr uint32_t errorInvalidHandle = 6;
constexpr uint32_t errorInvalidData = 13;
constexpr uint32_t errorGeneralFailure = 31;
constexpr uint32_t errorInvalidParameter = 87;
constexpr uint32_t errorNotImplemented = 120;
constexpr uint32_t errorInvalidName = 123;
constexpr uint32_t errorModuleNotFound = 126;
constexpr uint32_t errorProcedureNotFound = 127;
constexpr uint32_t errorBadPathName = 161;
constexpr uint32_t errorBadExecutable = 193;

// Sets the thread's last error from a system error number.
void setLastSystemError(int systemError) noexcept;

}  // namespace Platform
