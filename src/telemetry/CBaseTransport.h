#pragma once

#include <utility>

#include "telemetry/ITransport.h"

namespace Tavix::Analytics::internal {

// A transport's name and version.
class CBaseTransport : public ITransport {
public:
    std::u16string GetName() const override { return name_; }
    uint32_t GetVersion() const override { return version_; }

protected:
    CBaseTransport(std::u16string name, uint32_t version) : name_(std::move(name)), version_(version) {}

private:
    const std::u16string name_;
    const uint32_t version_;
};

}  // namespace Tavix::Analytics::internal
