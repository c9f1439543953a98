// A message and who it goes to.
#pragma once

#include <memory>

#include "host/bus/common/QueuedMessage.h"
#include "host/bus/common/ReceiverReports.h"
#include "host/bus/common/Receivers.h"

namespace MessageBus {

// Constant once it is published.
struct Publication {
    std::shared_ptr<const QueuedMessage> message;
    Receivers receivers;
    std::shared_ptr<ReceiverReports> request;  // null for a plain message
};

}  // namespace MessageBus
