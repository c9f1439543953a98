#include "logging/LogUse.h"

#include <memory>

#include "logging/CETWConfigurationListener.h"
#include "logging/Log.h"
#include "logging/ProcessLogger.h"
#include "platform/ProcessWide.h"
#include "platform/Sync.h"

namespace ETWLogging {
namespace {

constexpr std::u16string_view logSource = u"LogUse";

class LogUse : public LoggingConfigListenerIf {
public:
    void acquire() EXCLUDES(mutex_) {
        Platform::MutexLock lock(mutex_);
        if (holders_++ != 0)
            return;
        internal::useLogger(true);
        listener_ = std::make_unique<CETWConfigurationListener>(*this, Platform::Registry::protectedReader(),
                                                                Platform::RegistryWatch::create(loggingKey));
    }
    void release() EXCLUDES(mutex_) {
        Platform::MutexLock lock(mutex_);
        if (holders_ == 0 || --holders_ != 0)
            return;
        listener_.reset();
        internal::useLogger(false);
    }
    void configurationChanged(const LoggingConfig& config) noexcept override {
        internal::configureLogger(config);
    }

private:
    // Held while the use begins and ends; what is waited for meanwhile never takes it.
    Platform::Mutex mutex_;
    size_t holders_ GUARDED_BY(mutex_) = 0;
    std::unique_ptr<CETWConfigurationListener> listener_ GUARDED_BY(mutex_);
};

constinit Platform::ProcessWide<LogUse> logUse;

}  // namespace

void acquireLog() noexcept {
    try {
        logUse.get().acquire();
    } catch (...) {
        LOG_MESSAGE(levelWarning, u"ETWLogging::acquireLog",
                    u"The log configuration cannot be watched. It stays as it is.");
    }
}

void releaseLog() noexcept {
    try {
        logUse.get().release();
    } catch (...) {
        // Only the building of an object that no acquire has built can fail.
    }
}

}  // namespace ETWLogging
