#pragma once

#include <functional>
#include <memory>
#include <string>

#include "logging/CLoggingIf.h"
#include "logging/TraceEvent.h"
#include "platform/Registry.h"
#include "platform/Sync.h"
#include "platform/TraceProvider.h"

namespace ETWLogging {

// Writes records as classic trace events, while it is in use and a trace session has enabled the provider. A
// record passes from the threshold on; level 3 always does.
class CETWLogging : public CLoggingIf_ex {
public:
    using ProviderMaker = std::function<std::unique_ptr<Platform::TraceProvider>(
        const Platform::Guid& provider, const Platform::Guid& eventClass,
        Platform::TraceProvider::EnableCallback callback)>;

    // Called, on a thread of the system's as well, when a trace session has changed enabledLevels(). It may
    // call that function and log.
    using LevelsChanged = void (*)() noexcept;

    // Null where the system has no event tracing or refuses the provider. The registry outlives the logger.
    static std::shared_ptr<CETWLogging> create(
        const Platform::Guid& provider, internal::TraceIdentity identity, const Platform::Registry& registry,
        LevelsChanged levelsChanged, const ProviderMaker& makeProvider = Platform::TraceProvider::create);
    ~CETWLogging() override;

    uint32_t enabledLevels() const noexcept override EXCLUDES(mutex_);
    size_t maximumMessageLength() const noexcept override { return internal::longestTraceText; }
    void write(const LogRecord& record) noexcept override EXCLUDES(mutex_);
    void configurationChanged(const LoggingConfig& config) noexcept override EXCLUDES(mutex_);
    void beginUse() noexcept override;
    void endUse() noexcept override EXCLUDES(mutex_);

private:
    CETWLogging(internal::TraceIdentity identity, const Platform::Registry& registry,
                LevelsChanged levelsChanged);
    void sessionChanged(bool enabled, uint32_t level) noexcept EXCLUDES(mutex_);
    void start(bool session, uint32_t threshold) EXCLUDES(mutex_);
    bool passes(uint32_t level) const REQUIRES(mutex_);

    const internal::TraceIdentity identity_;
    const Platform::Registry& registry_;
    const LevelsChanged levelsChanged_;
    // Guards the filter; a leaf.
    mutable Platform::Mutex mutex_;
    bool session_ GUARDED_BY(mutex_) = false;
    bool enabled_ GUARDED_BY(mutex_) = true;
    uint32_t threshold_ GUARDED_BY(mutex_) = 0;
    // Last, so that the system's callbacks end before what they use. Set once, before the logger is handed
    // out.
    std::unique_ptr<Platform::TraceProvider> provider_;
};

}  // namespace ETWLogging
