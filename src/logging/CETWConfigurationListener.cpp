#include "logging/CETWConfigurationListener.h"

namespace ETWLogging {

CETWConfigurationListener::CETWConfigurationListener(LoggingConfigListenerIf& listener,
                                                     const Platform::Registry& registry,
                                                     std::unique_ptr<Platform::RegistryWatch> watch)
    : listener_(listener), registry_(registry), watch_(std::move(watch)) {
    if (watch_)
        thread_ = Platform::Thread([this] { run(); });
}

CETWConfigurationListener::~CETWConfigurationListener() {
    if (watch_)
        watch_->cancel();
    if (thread_.joinable())
        thread_.join();
}

void CETWConfigurationListener::run() noexcept {
    while (true) {
        try {
            if (!watch_->wait())
                return;
            listener_.configurationChanged(readLoggingConfig(registry_));
        } catch (...) {
            // Memory is short; the next change brings the values again.
        }
    }
}

}  // namespace ETWLogging
