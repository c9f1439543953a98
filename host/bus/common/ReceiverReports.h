// Who learns what the receivers of a request make of it.
#pragma once

#include <cstdint>

namespace MessageBus {

// One call for each receiver, on any thread and under no lock of the deliveries.
class ReceiverReports {
public:
    // With the status of its callback.
    virtual void receiverReturned(uint32_t status) noexcept = 0;
    // The subscription ended before the request reached it.
    virtual void receiverLeft() noexcept = 0;

protected:
    ~ReceiverReports() = default;
};

}  // namespace MessageBus
