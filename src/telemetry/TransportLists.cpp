#include "telemetry/TransportLists.h"

#include "platform/ProcessWide.h"
#include "telemetry/CLegacyTransport.h"
#include "telemetry/CNullTransport.h"

namespace Tavix::Analytics::internal {

namespace {

constinit Platform::ProcessWide<TransportLists> lists;

}  // namespace

TransportLists::TransportLists()
    : fallback{std::make_shared<CLegacyTransport>(), std::make_shared<CNullTransport>()} {}

TransportLists& transportLists() {
    return lists.get();
}

}  // namespace Tavix::Analytics::internal
