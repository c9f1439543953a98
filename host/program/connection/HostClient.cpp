#include "host/program/connection/HostClient.h"

#include "host/program/connection/HostMessages.h"

namespace Host {

std::optional<HostStatus> HostClient::status() {
    const BusAnswer answer = connection_.request(BREVANT_HOST_STATUS, {}, std::chrono::seconds(5));
    if (answer.status != MODULE_STATUS_SUCCESS)
        return std::nullopt;
    return HostStatus::parse(answer.message.payload);
}

HostClient::Change HostClient::look() {
    const bool wasThere = seen_.has_value();
    seen_ = status();
    if (!seen_)
        return wasThere ? Change::gone : Change::none;
    const bool isAnother = !lastStart_.empty() && lastStart_ != seen_->start;
    lastStart_ = seen_->start;
    if (isAnother)
        return Change::replaced;
    return wasThere ? Change::none : Change::back;
}

}  // namespace Host
