#include "telemetry/CFluentTracker.h"

#include "logging/Log.h"

namespace Tavix::Analytics::internal {

namespace {

constexpr std::u16string_view logSource = u"CFluentTracker";
constexpr std::u16string_view addFunction = u"Tavix::Analytics::internal::CFluentTracker::Add";

}  // namespace

bool acceptsDimension(const std::u16string& name, const std::u16string& value) {
    if (!name.starts_with(u"__"))
        return true;
    LOG_FORMATTED(ETWLogging::levelWarning, addFunction,
                  u"Illegal request to add private dimension ('%s ='%s') - Ignored", name, value);  // compat
    return false;
}

void reportNullDimensionName() {
    LOG_MESSAGE(ETWLogging::levelWarning, addFunction, u"Adding dimension with a [null] name - ignored.");
}

}  // namespace Tavix::Analytics::internal
