#include "logging/CLogging.h"

#include <utility>

#include "logging/LogFileSettings.h"
#include "logging/LogLine.h"
#include "logging/LogsFolder.h"
#include "platform/Thread.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace ETWLogging {
namespace {

constexpr std::u16string_view configurationFile = u"\\log.ini";
constexpr std::u16string_view mutexSuffix = u"9F1B3C7D5E2A4068B1D3F5A7C9E0B2D4";

constexpr uint32_t highestLevel = 6;

// Empty, which names no file, when it does not count.
std::u16string settingsFile(const internal::LogFolder& folder, std::u16string_view place) {
    std::u16string file = std::u16string(place).append(configurationFile);
    return folder.obeys(file) ? file : std::u16string();
}

}  // namespace

std::u16string CLogging::mutexName(const std::u16string& name) {
    return Ferrow::formatText(u"%s_%s", name, mutexSuffix);
}

CLogging::CLogging(FileLogIdentity identity, Services services)
    : identity_(std::move(identity)), localTime_(services.localTime), writers_(std::move(services.mutex)) {
    internal::LogFolder folder(services.commonDataFolder, logFolderOf(identity_, services.commonDataFolder),
                               services.access);
    internal::LogFileSettings settings;
    std::u16string ownFile;
    usable_ = folder.isUsable();
    if (usable_) {
        ownFile = settingsFile(folder, folder.path());
        settings = readSettings(services.settings, ownFile,
                                settingsFile(folder, services.commonDataFolder.append(logsFolder)));
    }
    enabled_ = settings.enable;
    severity_ = settings.severity;
    options_ = settings.options;
    std::u16string stem = identity_.name;
    if (!identity_.suffix.empty())
        (stem += u'_') += identity_.suffix;
    files_ = std::make_unique<internal::LogFiles>(services.settings, std::move(folder), std::move(stem),
                                                  ownFile, settings.maximumSize, settings.maximumFiles);
}

// What is wrong is replaced in the writers' turn, since the index of the current file stands beside it. While
// others are at work it waits for a later start.
internal::LogFileSettings CLogging::readSettings(const Platform::IniFiles& files,
                                                 const std::u16string& ownFile,
                                                 const std::u16string& sharedFile) {
    const internal::LogFileSettings settings = internal::readLogFileSettings(files, ownFile, sharedFile);
    if (settings.valid)
        return settings;
    Platform::MutexLock lock(mutex_);
    const internal::WritersMutex::Turn turn(writers_);
    return turn.isHeld() ? internal::correctLogFileSettings(files, ownFile, sharedFile) : settings;
}

uint32_t CLogging::enabledLevels() const noexcept {
    uint32_t levels = 0;
    for (uint32_t level = 1; usable_ && enabled_ && level <= highestLevel; ++level) {
        if (level >= severity_)
            levels |= 1u << level;
    }
    return levels;
}

void CLogging::write(const LogRecord& record) noexcept {
    if (record.level >= levelLimit || !(enabledLevels() >> record.level & 1u))
        return;
    try {
        std::u16string line;
        const internal::LineContext context{identity_.logName, options_, identity_.processId};
        // The system is asked for the thread's number only where it is shown.
        const uint32_t thread = options_ & internal::lineProcessAndThread ? Platform::currentThreadId() : 0;
        if (internal::buildLogLine(context, record, thread, localTime_(), line) != internal::lineSuccess)
            return;
        const std::string text = Ferrow::toUtf8(line);
        Platform::MutexLock lock(mutex_);
        const internal::WritersMutex::Turn turn(writers_);
        if (!files_->append(text))
            usable_ = files_->isUsable();
    } catch (...) {
        // A record that cannot be written is dropped.
    }
}

void CLogging::configurationChanged(const LoggingConfig& config) noexcept {
    if (config.enable)
        enabled_ = *config.enable;
    if (config.severity)
        severity_ = *config.severity;
}

void CLogging::setMaximumFiles(uint32_t count) {
    Platform::MutexLock lock(mutex_);
    files_->setMaximumFiles(count);
}

}  // namespace ETWLogging
