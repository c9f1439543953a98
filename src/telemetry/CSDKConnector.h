// Takes one event to a transport.
#pragma once

#include <memory>

#include "telemetry/DimensionMap.h"
#include "telemetry/ITransport.h"

namespace Tavix::Analytics {

// Made for one send, on one thread: Connect, Send, Disconnect.
class CSDKConnector {
public:
    CSDKConnector() = default;
    virtual ~CSDKConnector() = default;
    CSDKConnector(const CSDKConnector&) = delete;
    CSDKConnector& operator=(const CSDKConnector&) = delete;

    virtual void Connect();
    // Adds the caller's and the transport's name to the dimensions and sends them. False without a transport.
    virtual bool Send(DimensionMap& dimensions);
    virtual void Disconnect();
    // The first transport of the process that opens, else a null transport of its own; that too for an event
    // that arises while the calling thread opens a transport.
    virtual std::shared_ptr<internal::ITransport> SelectTransport();

private:
    std::shared_ptr<internal::ITransport> transport_;
};

}  // namespace Tavix::Analytics
