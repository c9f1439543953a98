#include "status/ModuleStatus.h"

#include <iterator>

namespace Tavix {
namespace {

// The dense run of statuses, each at the place of its low byte.
constexpr const char16_t* names[] = {
    u"MODULE_STATUS_SUCCESS",
    u"MODULE_STATUS_NOT_SUPPORTED",
    u"MODULE_STATUS_UNSUCCESSFUL",
    u"MODULE_STATUS_BUFFER_TOO_SMALL",
    u"MODULE_STATUS_NOT_IMPLEMENTED",
    u"MODULE_STATUS_INVALID_BUFFER_SIZE",
    u"MODULE_STATUS_DATA_ERROR",
    u"MODULE_STATUS_INVALID_HANDLE",
    u"MODULE_STATUS_INVALID_PARAMETER",
    u"MODULE_STATUS_NO_MEMORY",
    u"MODULE_STATUS_NOT_FOUND",
    u"MODULE_STATUS_ON_DEMAND_ENABLED",
    u"MODULE_STATUS_PROPERTY_NOT_FOUND",
    u"MODULE_STATUS_TIMEOUT",
    u"MODULE_STATUS_NO_SUBSCRIBERS",
    u"MODULE_STATUS_UNKNOWN_EXCEPTION",
    u"MODULE_STATUS_DUPLICATE_MODULE",
    u"MODULE_STATUS_PARTIAL_SUCCESS",
    u"MODULE_STATUS_UWP_APP_NOT_INSTALLED",
    u"MODULE_STATUS_APP_SERVICE_UNAVAILABLE",
    u"MODULE_STATUS_APP_SERVICE_UNAUTHORIZED",
    u"MODULE_STATUS_SESSION_INVALID",
};
constexpr uint32_t failureBit = 0x80000000u;
static_assert(std::size(names) == (MODULE_STATUS_SESSION_INVALID & ~failureBit) + 1);

}  // namespace

const char16_t* moduleStatusName(uint32_t status) noexcept {
    if (status == MODULE_STATUS_SUCCESS)
        return names[0];
    if (status == MODULE_STATUS_INVALID_STATE)
        return u"MODULE_STATUS_INVALID_STATE";
    const uint32_t place = status ^ failureBit;
    return place != 0 && place < std::size(names) ? names[place] : u"MODULE_STATUS_UNKNOWN";
}

}  // namespace Tavix
