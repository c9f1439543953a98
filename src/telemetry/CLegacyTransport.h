// Sends events to the host platform's event sink component.
#pragma once

#include <memory>

#include "platform/Guid.h"
#include "telemetry/CBaseTransport.h"
#include "telemetry/IFormatter.h"

namespace Tavix::Analytics {

// Holds no component between calls: each call creates the component for itself and prepares its thread for
// it.
class CLegacyTransport : public internal::CBaseTransport {
public:
    // An all-zero class id stands for the event sink of include/brevant/event_sink.h; without a formatter
    // nothing can be sent.
    explicit CLegacyTransport(const Platform::Guid& classId = {});
    CLegacyTransport(const Platform::Guid& classId, std::unique_ptr<IFormatter> formatter);

    // Whether the component can be created.
    bool Open() override;
    // Throws std::bad_alloc when there is no memory for the component's texts.
    bool Send(const DimensionMap& dimensions) override;
    void Close() override {}

private:
    const Platform::Guid classId_;
    const std::unique_ptr<IFormatter> formatter_;
};

}  // namespace Tavix::Analytics
