#include "module/AlertSessionFactory.h"

namespace Vok {

std::shared_ptr<AlertUserSession> AlertSessionFactory::createUserSession(
    uint32_t sessionId, const std::shared_ptr<ViewerRegistrar>& viewerRegistrar,
    const std::shared_ptr<PluginRegistrar>& pluginRegistrar,
    const std::shared_ptr<AlertGlobalSession>& globalSession) {
    return std::make_shared<AlertUserSession>(sessionId, viewerRegistrar, pluginRegistrar, globalSession);
}

std::shared_ptr<AlertGlobalSession> AlertSessionFactory::createGlobalSession(
    const std::shared_ptr<ViewerRegistrar>& viewerRegistrar,
    const std::shared_ptr<PluginRegistrar>& pluginRegistrar) {
    return std::make_shared<AlertGlobalSession>(viewerRegistrar, pluginRegistrar);
}

}  // namespace Vok
