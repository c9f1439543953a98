#include "logging/LogFiles.h"

#include <algorithm>
#include <utility>

#include "logging/LogFileSettings.h"
#include "platform/Files.h"
#include "text/Format.h"

namespace ETWLogging::internal {

LogFiles::LogFiles(const Platform::IniFiles& settings, LogFolder folder, std::u16string stem,
                   std::u16string configurationFile, uint32_t maximumSize, uint32_t maximumFiles)
    : settings_(settings),
      folder_(std::move(folder)),
      stem_(std::move(stem)),
      configurationFile_(std::move(configurationFile)),
      maximumSize_(maximumSize) {
    setMaximumFiles(maximumFiles);
    select(readLogIndex(settings_, configurationFile_));
}

void LogFiles::setMaximumFiles(uint32_t count) noexcept {
    maximumFiles_ = std::clamp(count, fewestLogFiles, mostLogFiles);
}

void LogFiles::select(uint32_t index) {
    file_ = Platform::AppendFile(Ferrow::formatText(u"%s\\%s%03lu.log", folder_.path(), stem_, index));
    index_ = index;
}

LogFiles::Room LogFiles::room() {
    if (index_ >= maximumFiles_)
        return Room::missing;
    const auto size = file_.size();
    return !size ? Room::missing : *size < maximumSize_ ? Room::left : Room::full;
}

bool LogFiles::append(std::string_view text) {
    Room found = room();
    if (found != Room::left && indexStored_) {
        select(readLogIndex(settings_, configurationFile_));
        found = room();
    }
    if (index_ >= maximumFiles_)
        return startFile(0, text);
    if (found == Room::full)
        return startFile((index_ + 1) % maximumFiles_, text);
    return write(text, false);
}

bool LogFiles::startFile(uint32_t index, std::string_view text) {
    select(index);
    const bool written = write(text, true);
    indexStored_ = folderReady_ && writeLogIndex(settings_, configurationFile_, index_);
    return written;
}

bool LogFiles::write(std::string_view text, bool emptyFirst) {
    if (folderReady_ && file_.append(text, emptyFirst))
        return true;
    folderReady_ = folder_.create();
    return folderReady_ && file_.append(text, emptyFirst);
}

}  // namespace ETWLogging::internal
