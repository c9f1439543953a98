#pragma once

#include "telemetry/IFormatter.h"

namespace Tavix::Analytics {

// One compact, flat JSON object of texts, in the map's order. Refuses an empty map.
class CJSONFormatter : public IFormatter {
public:
    bool Format(const DimensionMap& dimensions, std::u16string& text) const override;
};

}  // namespace Tavix::Analytics
