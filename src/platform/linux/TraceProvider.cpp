#include "platform/TraceProvider.h"

namespace Platform {

std::unique_ptr<TraceProvider> TraceProvider::create(const Guid&, const Guid&, EnableCallback) {
    return nullptr;
}

}  // namespace Platform
