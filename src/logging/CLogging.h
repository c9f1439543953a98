#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "logging/CLoggingIf.h"
#include "logging/FileLogIdentity.h"
#include "logging/LogFileSettings.h"
#include "logging/LogFiles.h"
#include "logging/WritersMutex.h"
#include "platform/Clock.h"
#include "platform/FileAccess.h"
#include "platform/IniFile.h"
#include "platform/Sync.h"

namespace ETWLogging {

// Writes rotating text files below the common data folder, in UTF-8. Settings are read once, here.
class CLogging : public CLoggingIf_ex {
public:
    static constexpr size_t longestMessage = 4159;

    // What the logger asks of the system.
    struct Services {
        std::u16string commonDataFolder;  // without trailing separator
        const Platform::FileAccessReader& access = Platform::FileAccessReader::system();
        const Platform::IniFiles& settings = Platform::IniFiles::protectedReader();
        Platform::CalendarTime (*localTime)() = Platform::localCalendarTime;
        // Serialises the writers of all processes; null when the system refused it.
        std::unique_ptr<Platform::NamedMutex> mutex;
    };
    CLogging(FileLogIdentity identity, Services services);

    uint32_t enabledLevels() const noexcept override;
    size_t maximumMessageLength() const noexcept override { return longestMessage; }
    void write(const LogRecord& record) noexcept override;
    void configurationChanged(const LoggingConfig& config) noexcept override;

    // Clamped to 2..100. Any thread.
    void setMaximumFiles(uint32_t count);

    // Name of the mutex that the writers of a log share.
    static std::u16string mutexName(const std::u16string& name);

private:
    internal::LogFileSettings readSettings(const Platform::IniFiles& files, const std::u16string& ownFile,
                                           const std::u16string& sharedFile) EXCLUDES(mutex_);

    const FileLogIdentity identity_;
    Platform::CalendarTime (*const localTime_)();
    uint32_t options_ = 0;
    std::atomic<bool> usable_{false};  // false: the folder may be another account's
    std::atomic<bool> enabled_{true};
    std::atomic<uint32_t> severity_{0};
    // Serialises the writers of this process, also when the mutex of all could not be had in time, which is
    // waited for under it: by one, then, in the place of all. Nothing that is called under either logs.
    Platform::Mutex mutex_;
    internal::WritersMutex writers_ GUARDED_BY(mutex_);
    std::unique_ptr<internal::LogFiles> files_ GUARDED_BY(mutex_);
};

}  // namespace ETWLogging
