#pragma once

#include "telemetry/CBaseTransport.h"

namespace Tavix::Analytics {

// Drops every event.
class CNullTransport : public internal::CBaseTransport {
public:
    CNullTransport() : CBaseTransport(u"NULL-Pattern", 1) {}  // compat

    bool Open() override { return true; }
    bool Send(const DimensionMap&) override { return true; }
    void Close() override {}
};

}  // namespace Tavix::Analytics
