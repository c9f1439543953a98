#include "host/event_sink/EventFile.h"

#include <algorithm>
#include <string>

#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Sync.h"
#include "text/Utf.h"

namespace EventSink {

bool appendEvent(std::u16string_view json) {
    std::string line = Ferrow::toUtf8(json);
    std::replace_if(
        line.begin(), line.end(), [](char byte) { return byte == '\n' || byte == '\r'; }, ' ');
    line.push_back('\n');
    // Not every system finds the file's end and writes there in one step.
    static Platform::Mutex oneAtATime;
    const Platform::MutexLock lock(oneAtATime);
    return Platform::appendToFile(Platform::commonDataFolder() + u"\\events.jsonl", line);
}

}  // namespace EventSink
