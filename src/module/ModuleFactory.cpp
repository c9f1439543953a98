#include "module/ModuleFactory.h"

#include <brevant/status.h>

#include "logging/Log.h"
#include "module/BrevantImpl.h"

namespace Tavix {

namespace {
constexpr std::u16string_view logSource = u"ModuleFactory";
}

uint32_t createModule(Module** out) {
    *out = new Vok::BrevantImpl(nullptr, nullptr, nullptr);
    LOG_MESSAGE(ETWLogging::levelNormal, u"Tavix::createModule", u"Created Brevant module.");
    return MODULE_STATUS_SUCCESS;
}

void destroyModule(Module* module) {
    LOG_MESSAGE(ETWLogging::levelNormal, u"Tavix::destroyModule", u"Destroying Brevant module.");
    delete module;
}

}  // namespace Tavix
