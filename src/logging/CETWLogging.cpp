#include "logging/CETWLogging.h"

#include <utility>

#include "logging/LoggingConfig.h"
#include "platform/Thread.h"

namespace ETWLogging {
namespace {

constexpr uint32_t initialThreshold = 3;
constexpr uint32_t informationLevel = 3;

}  // namespace

std::shared_ptr<CETWLogging> CETWLogging::create(const Platform::Guid& provider,
                                                 internal::TraceIdentity identity,
                                                 const Platform::Registry& registry,
                                                 LevelsChanged levelsChanged,
                                                 const ProviderMaker& makeProvider) {
    std::shared_ptr<CETWLogging> logger(new CETWLogging(std::move(identity), registry, levelsChanged));
    logger->start(false, initialThreshold);
    // The provider is stopped before the logger is gone, so the plain pointer is safe.
    CETWLogging* const self = logger.get();
    logger->provider_ =
        makeProvider(provider, internal::traceEventClass,
                     [self](bool enabled, uint32_t level) { self->sessionChanged(enabled, level); });
    return logger->provider_ && logger->provider_->start() ? logger : nullptr;
}

CETWLogging::CETWLogging(internal::TraceIdentity identity, const Platform::Registry& registry,
                         LevelsChanged levelsChanged)
    : identity_(std::move(identity)), registry_(registry), levelsChanged_(levelsChanged) {}

CETWLogging::~CETWLogging() = default;

// The registry may report while it is read, which logs: not under the lock.
void CETWLogging::start(bool session, uint32_t threshold) {
    const LoggingConfig config = readLoggingConfig(registry_);
    Platform::MutexLock lock(mutex_);
    session_ = session;
    enabled_ = config.enable.value_or(true);
    threshold_ = config.severity.value_or(threshold);
}

void CETWLogging::sessionChanged(bool enabled, uint32_t level) noexcept {
    try {
        if (enabled) {
            start(true, level);
        } else {
            Platform::MutexLock lock(mutex_);
            session_ = false;
        }
    } catch (...) {
        // Memory is short: tracing stays as it was.
    }
    levelsChanged_();
}

bool CETWLogging::passes(uint32_t level) const {
    return session_ && ((enabled_ && level >= threshold_) || level == informationLevel);  // compat
}

uint32_t CETWLogging::enabledLevels() const noexcept {
    Platform::MutexLock lock(mutex_);
    uint32_t levels = 0;
    for (uint32_t level = 0; level < levelLimit; ++level) {
        if (passes(level))
            levels |= 1u << level;
    }
    return levels;
}

void CETWLogging::write(const LogRecord& record) noexcept {
    try {
        {
            Platform::MutexLock lock(mutex_);
            if (!passes(record.level) || !record.message.data())
                return;
        }
        const std::vector<uint8_t> payload =
            internal::traceEventPayload(identity_, record, Platform::currentThreadId());
        alignas(8) std::array<uint8_t, 64> header =
            internal::traceEventHeader(record.level, payload.data(), static_cast<uint32_t>(payload.size()));
        provider_->write(header.data());
    } catch (...) {
        // A record that cannot be written is dropped.
    }
}

void CETWLogging::configurationChanged(const LoggingConfig& config) noexcept {
    Platform::MutexLock lock(mutex_);
    if (config.enable)
        enabled_ = *config.enable;
    if (config.severity)
        threshold_ = *config.severity;
}

// Refused, it writes nothing during this use. A session that is there enables the registered provider again.
void CETWLogging::beginUse() noexcept {
    provider_->start();
}

void CETWLogging::endUse() noexcept {
    provider_->stop();
    Platform::MutexLock lock(mutex_);
    session_ = false;
}

}  // namespace ETWLogging
