#pragma once

#include <memory>

#include "logging/LoggingConfigListenerIf.h"
#include "platform/Registry.h"
#include "platform/Thread.h"

namespace ETWLogging {

// Watches the logging configuration in the registry and hands every change to a listener, on a thread of its
// own that the destructor ends and waits for. Not to be destroyed by the listener.
class CETWConfigurationListener {
public:
    // Throws std::system_error when the system gives no thread. The listener and the registry outlive this
    // object. Null for the watch means that the system cannot watch: nothing ever happens then.
    CETWConfigurationListener(LoggingConfigListenerIf& listener, const Platform::Registry& registry,
                              std::unique_ptr<Platform::RegistryWatch> watch);
    ~CETWConfigurationListener();
    CETWConfigurationListener(const CETWConfigurationListener&) = delete;
    CETWConfigurationListener& operator=(const CETWConfigurationListener&) = delete;

private:
    void run() noexcept;

    LoggingConfigListenerIf& listener_;
    const Platform::Registry& registry_;
    const std::unique_ptr<Platform::RegistryWatch> watch_;
    Platform::Thread thread_;  // last: it uses what stands above
};

}  // namespace ETWLogging
