#pragma once

#include <string>

#include "telemetry/DimensionMap.h"

namespace Tavix::Analytics {

// Turns dimensions into the text that a transport sends.
class IFormatter {
public:
    virtual ~IFormatter() = default;
    // False, with the text left alone, for dimensions that cannot be formatted.
    virtual bool Format(const DimensionMap& dimensions, std::u16string& text) const = 0;
};

}  // namespace Tavix::Analytics
