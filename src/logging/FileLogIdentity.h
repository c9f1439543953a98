#pragma once

#include <cstdint>
#include <string>

namespace ETWLogging {

// Who writes a file log.
struct FileLogIdentity {
    std::u16string name;     // folder and stem of the files
    std::u16string logName;  // field of the lines
    std::u16string group;    // folder above the log's; empty for none
    std::u16string suffix;   // behind the stem; empty for none
    uint32_t processId = 0;
};

// The folder of the log's files, below the one for application data of all users; both without trailing
// separator.
std::u16string logFolderOf(const FileLogIdentity& identity, const std::u16string& commonDataFolder);

// The host executable's file name without extension, and the file name of the library that this code is in.
FileLogIdentity processFileLogIdentity(std::u16string group);

}  // namespace ETWLogging
