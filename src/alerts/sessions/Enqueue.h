// How a session of either kind takes an alert in.
#pragma once

#include <memory>
#include <string_view>

#include "alerts/dispatcher/MarkedMutex.h"
#include "alerts/sessions/AlertQueue.h"

namespace Vok {

class AlertDispatcher;

// Asks the dispatcher about the alert and inserts it under the session's mutex. False when it is suppressed
// or a duplicate, which is logged under the caller's source and function; a duplicate is also an event.
bool enqueue(std::shared_ptr<Alert> alert, AlertDispatcher& dispatcher, MarkedMutex& mutex, AlertQueue& queue,
             std::u16string_view source, std::u16string_view function);

}  // namespace Vok
