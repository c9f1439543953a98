#include "logging/ProcessLogger.h"

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "logging/CDefaultLogBuilder.h"
#include "logging/CLogger.h"
#include "logging/Log.h"
#include "platform/Diagnostics.h"
#include "platform/ProcessWide.h"
#include "platform/Sync.h"
#include "platform/Thread.h"

namespace ETWLogging::internal {
namespace {

// What is logged by the building of the logger itself, such as a registry that does not parse, waits for it.
constexpr size_t mostEarlyRecords = 32;

struct EarlyRecord {
    uint32_t level;
    std::u16string sourceFile, function;
    uint32_t line;
    std::u16string message;
};

void logDiagnostic(uint32_t level, const char16_t* sourceFile, const char16_t* function, uint32_t line,
                   const std::u16string& message) {
    logMessage(level, sourceFile, function, line, message);
}

// Without a logger every call does nothing.
void reportNoLogger() noexcept {
    try {
        Ferrow::coreLogger().log(Ferrow::coreLogError, u"ProcessLogger", __LINE__,
                                 u"ETWLogging::internal::ProcessLogger::build",
                                 u"The logger cannot be built. Nothing will be logged.");
    } catch (...) {
        // Not even that much memory is left.
    }
}

class ProcessLogger {
public:
    ProcessLogger() { Platform::setDiagnosticSink(logDiagnostic); }
    ~ProcessLogger() {
        Platform::setDiagnosticSink(nullptr);
        // Static destructors that run later may still ask whether to log: nothing is enabled for them. The
        // logger's use has ended, so nothing of weight remains to be done here.
        Platform::MutexLock lock(mutex_);
        built_ = true;
        logger_.reset();
        publishLevels();
    }

    // Null while this thread builds the logger, and when none can be built.
    std::shared_ptr<CLoggingIf_ex> logger() EXCLUDES(using_, building_, mutex_) {
        {
            Platform::MutexLock lock(mutex_);
            if (built_)
                return logger_;
        }
        if (buildingHere())
            return nullptr;
        build();
        Platform::MutexLock lock(mutex_);
        return logger_;
    }

    bool buildingHere() const { return builder_.load() == Platform::currentThreadId(); }

    // Called by the building thread alone, which holds the lock further up its stack.
    void keepEarly(const LogRecord& record) NO_THREAD_SAFETY_ANALYSIS {
        if (early_.size() < mostEarlyRecords)
            early_.push_back({record.level, std::u16string(record.sourceFile),
                              std::u16string(record.function), record.line, std::u16string(record.message)});
    }

    std::shared_ptr<CLoggingIf_ex> replace(std::shared_ptr<CLoggingIf_ex> logger)
        EXCLUDES(using_, building_, mutex_) {
        {
            Platform::MutexLock buildingLock(building_);
            Platform::MutexLock lock(mutex_);
            built_ = logger != nullptr;
            logger_.swap(logger);
            publishLevels();
        }
        followUse();
        return logger;
    }

    void use(bool used) EXCLUDES(using_, mutex_) {
        {
            Platform::MutexLock lock(mutex_);
            used_ = used;
        }
        followUse();
    }

    void refresh() EXCLUDES(mutex_) {
        Platform::MutexLock lock(mutex_);
        publishLevels();
    }

private:
    void build() EXCLUDES(using_, building_, mutex_) {
        if (buildUnlessBuilt())
            followUse();
    }

    bool buildUnlessBuilt() EXCLUDES(building_, mutex_) {
        Platform::MutexLock buildingLock(building_);
        {
            Platform::MutexLock lock(mutex_);
            if (built_)
                return false;
        }
        builder_.store(Platform::currentThreadId());
        std::shared_ptr<CLoggingIf_ex> logger;
        try {
            CDefaultLogBuilder builder(refreshEnabledLevels);
            builder.setIdentity(loggingIdentity());
            logger = builder.build();
        } catch (...) {
            reportNoLogger();
        }
        builder_.store(0);
        {
            Platform::MutexLock lock(mutex_);
            built_ = true;
            logger_ = logger;
            publishLevels();
        }
        for (const EarlyRecord& each : std::exchange(early_, {})) {
            if (logger)
                logger->write({each.level, each.sourceFile, each.function, each.line, each.message});
        }
        return true;
    }

    // After every change of the logger or of its use; whichever comes last sees both.
    void followUse() EXCLUDES(using_, mutex_) {
        Platform::MutexLock usingLock(using_);
        std::shared_ptr<CLoggingIf_ex> logger;
        bool used = false;
        {
            Platform::MutexLock lock(mutex_);
            logger = logger_;
            used = used_;
        }
        if (!logger)
            return;
        if (used)
            logger->beginUse();
        else
            logger->endUse();
        refresh();
    }

    void publishLevels() REQUIRES(mutex_) {
        if (built_)
            enabledLevels.store(logger_ ? logger_->enabledLevels() & ~loggerUnbuilt : 0);
        else
            enabledLevels.store(loggerUnbuilt);
    }

    // Held while a logger's use begins or ends, with neither of the other two: that may wait for a callback
    // of the system's, which takes them when it logs. No callback takes this one.
    Platform::Mutex using_;
    // Held while the logger is built or replaced; taken before mutex_. No record is written under it but the
    // early ones of its holder.
    Platform::Mutex building_;
    // Guards which logger there is; a leaf but for the locks that a logger's enabledLevels() takes.
    Platform::Mutex mutex_;
    bool built_ GUARDED_BY(mutex_) = false;
    std::shared_ptr<CLoggingIf_ex> logger_ GUARDED_BY(mutex_);
    bool used_ GUARDED_BY(mutex_) = false;
    std::atomic<uint32_t> builder_{0};  // the thread that builds the logger
    std::vector<EarlyRecord> early_ GUARDED_BY(building_);
};

constinit Platform::ProcessWide<ProcessLogger> process;

}  // namespace

std::shared_ptr<CLoggingIf_ex> processLogger() {
    return process.get().logger();
}

bool buildsLoggerHere() {
    return process.get().buildingHere();
}

void keepEarlyRecord(const LogRecord& record) {
    process.get().keepEarly(record);
}

std::shared_ptr<CLoggingIf_ex> replaceLogger(std::shared_ptr<CLoggingIf_ex> logger) {
    return process.get().replace(std::move(logger));
}

void refreshEnabledLevels() noexcept {
    try {
        process.get().refresh();
    } catch (...) {
    }
}

void useLogger(bool used) noexcept {
    try {
        process.get().use(used);
    } catch (...) {
        // No memory even for the object: it has no logger then.
    }
}

void configureLogger(const LoggingConfig& config) noexcept {
    try {
        if (const auto logger = process.get().logger()) {
            logger->configurationChanged(config);
            process.get().refresh();
        }
    } catch (...) {
    }
}

}  // namespace ETWLogging::internal
