// The rotating files of one log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "logging/LogFolder.h"
#include "platform/AppendFile.h"
#include "platform/IniFile.h"

namespace ETWLogging::internal {

// Appends texts to the file of the current index and moves on to the next one when it is full. Not for
// concurrent use.
//
// Several processes may write one log; whoever writes holds the log's mutex. Each knows the index that it
// wrote to last, and asks the configuration file for the current one only when its own file is full or
// missing: the others have moved on then, or it is time to. As long as the file is neither, it is still the
// current one, since nobody leaves a file that has room. So an ordinary record costs one look at the file's
// size, and no file is emptied that another process has just begun. Where the index cannot be stored, each
// goes on from its own.
class LogFiles {
public:
    // The stem is the file name before the index. The reader of settings outlives this object.
    LogFiles(const Platform::IniFiles& settings, LogFolder folder, std::u16string stem,
             std::u16string configurationFile, uint32_t maximumSize, uint32_t maximumFiles);

    // Clamped to 2..100.
    void setMaximumFiles(uint32_t count) noexcept;

    // False when the text could not be written.
    bool append(std::string_view text);

    // False once the folder may not be used.
    bool isUsable() { return folder_.isUsable(); }

private:
    enum class Room { missing, left, full };
    void select(uint32_t index);
    Room room();
    bool write(std::string_view text, bool emptyFirst);
    bool startFile(uint32_t index, std::string_view text);

    const Platform::IniFiles& settings_;
    LogFolder folder_;
    bool folderReady_ = false;
    const std::u16string stem_;
    const std::u16string configurationFile_;
    const uint32_t maximumSize_;
    uint32_t maximumFiles_ = 0;
    uint32_t index_ = 0;
    bool indexStored_ = true;
    Platform::AppendFile file_;  // of that index
};

}  // namespace ETWLogging::internal
