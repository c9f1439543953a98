#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "logging/CLoggingIf.h"
#include "logging/FileLogIdentity.h"
#include "logging/LogFiles.h"
#include "platform/Clock.h"
#include "platform/IniFile.h"
#include "platform/NamedMutex.h"
#include "platform/Sync.h"

namespace ETWLogging {

// Writes rotating text files below the common data folder, in UTF-8. Settings are read once, here.
class CLogging : public CLoggingIf_ex {
public:
    static constexpr size_t longestMessage = 4159;
    static constexpr std::chrono::milliseconds longestMutexWait{7000};

    // What the logger asks of the system.
    struct Services {
        std::u16string commonDataFolder;  // without trailing separator
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
    const FileLogIdentity identity_;
    Platform::CalendarTime (*const localTime_)();
    const std::unique_ptr<Platform::NamedMutex> writers_;
    uint32_t options_ = 0;
    std::atomic<bool> enabled_{true};
    std::atomic<uint32_t> severity_{0};
    // Guards the files, also when the mutex of all processes could not be had in time, and is taken after it.
    // Nothing that is called under either logs.
    Platform::Mutex mutex_;
    std::unique_ptr<internal::LogFiles> files_ GUARDED_BY(mutex_);
};

}  // namespace ETWLogging
