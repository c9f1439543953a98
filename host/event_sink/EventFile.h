// The file that the events go to.
#pragma once

#include <string_view>

namespace EventSink {

// Appends the event as one UTF-8 line to "events.jsonl" in the common data folder, in one write: lines of
// several processes do not mix. Line breaks, which JSON has between its tokens only, become spaces.
bool appendEvent(std::u16string_view json);

}  // namespace EventSink
