// Which user session of the machine is the active one.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/UserSessions.h"

namespace Vok {

// Lists the sessions in the system's order; false with Platform::lastError() on failure.
using SessionEnumerator = std::function<bool(std::vector<Platform::UserSession>&)>;

// The id of the active session. None when the list cannot be read or no session is active; both are logged
// under the caller's source and function.
std::optional<uint32_t> findActiveSession(const SessionEnumerator& enumerate, std::u16string_view source,
                                          std::u16string_view function);

}  // namespace Vok
