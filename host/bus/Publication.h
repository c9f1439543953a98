// A message and who it goes to.
#pragma once

#include <memory>

#include "host/bus/QueuedMessage.h"
#include "host/bus/Receivers.h"
#include "host/bus/Request.h"

namespace EmbeddedBus {

// Constant once it is published.
struct Publication {
    std::shared_ptr<const QueuedMessage> message;
    Receivers receivers;
    std::shared_ptr<Request> request;  // null for a plain message
};

}  // namespace EmbeddedBus
