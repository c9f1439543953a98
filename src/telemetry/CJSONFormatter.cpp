#include "telemetry/CJSONFormatter.h"

#include "json/JSONTextWriter.h"

namespace Tavix::Analytics {

bool CJSONFormatter::Format(const DimensionMap& dimensions, std::u16string& text) const {
    if (dimensions.empty())
        return false;
    JSONTextSink sink;
    JSONTextWriter writer(sink);
    writer.StartObject();
    for (const auto& [name, value] : dimensions) {
        writer.Key(name);
        writer.String(value);
    }
    writer.EndObject();
    text = sink.take();
    return true;
}

}  // namespace Tavix::Analytics
