// Makes the sessions of the broker module.
#pragma once

#include "alerts/sessions/AlertUserSession.h"

namespace Vok {

// Every session makes its own dispatcher and bus client. Throws ModuleException when the bus library cannot
// be loaded, std::system_error when there is no thread.
class AlertSessionFactory {
public:
    virtual ~AlertSessionFactory() = default;
    virtual std::shared_ptr<AlertUserSession> createUserSession(
        uint32_t sessionId, const std::shared_ptr<ViewerRegistrar>& viewerRegistrar,
        const std::shared_ptr<PluginRegistrar>& pluginRegistrar,
        const std::shared_ptr<AlertGlobalSession>& globalSession);
    virtual std::shared_ptr<AlertGlobalSession> createGlobalSession(
        const std::shared_ptr<ViewerRegistrar>& viewerRegistrar,
        const std::shared_ptr<PluginRegistrar>& pluginRegistrar);
};

}  // namespace Vok
