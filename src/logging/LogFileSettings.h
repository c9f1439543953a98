// The settings of the file logger: section "Config" of two files, the log's own and the one that all logs of
// the machine share.
#pragma once

#include <cstdint>
#include <string>

#include "platform/IniFile.h"

namespace ETWLogging::internal {

constexpr uint32_t fewestLogFiles = 2;
constexpr uint32_t mostLogFiles = 100;

struct LogFileSettings {
    bool enable = true;
    uint32_t maximumSize = 262144;  // bytes after which the next file is started
    uint32_t maximumFiles = 3;
    uint32_t severity = 3;  // compat
    uint32_t options = 16;  // LineOptions
    bool valid = true;      // nothing that was read was out of range
};

// The log's own file wins over the shared one. A value that is out of range, or no number, counts as the
// default.
LogFileSettings readLogFileSettings(const Platform::IniFiles& files, const std::u16string& ownFile,
                                    const std::u16string& sharedFile);

// The same, and such a value is replaced by the default in the file where it was found. In the turn of a
// writer: all values of a file are replaced together.
LogFileSettings correctLogFileSettings(const Platform::IniFiles& files, const std::u16string& ownFile,
                                       const std::u16string& sharedFile);

// The index of the file that is being written: 0 when the log's own file has none.
uint32_t readLogIndex(const Platform::IniFiles& files, const std::u16string& ownFile);
// In the turn of a writer.
bool writeLogIndex(const Platform::IniFiles& files, const std::u16string& ownFile, uint32_t index);

}  // namespace ETWLogging::internal
