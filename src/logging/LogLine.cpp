#include "logging/LogLine.h"

#include <new>

#include "text/Format.h"
#include "text/Utf.h"

namespace ETWLogging::internal {
namespace {

constexpr int logNameWidth = 15;
constexpr int sourceWidth = 20;
constexpr int functionWidth = 40;

std::u16string padded(std::u16string_view text, int width) {
    return Ferrow::formatText(Ferrow::formatText(u"%%%ds", width),
                              Ferrow::cutText(text, static_cast<size_t>(width)));
}

std::u16string timeText(const Platform::CalendarTime& time) {
    const unsigned hour = time.hour % 12 == 0 ? 12 : time.hour % 12;  // compat
    return Ferrow::formatText(u"%02hu/%02hu/%hu %02hu:%02hu:%02hu %s$", time.month, time.day, time.year, hour,
                              time.minute, time.second, time.hour < 12 ? u"AM" : u"PM");
}

}  // namespace

std::u16string_view severityName(uint32_t level) noexcept {
    switch (level) {
        case 1:
            return u"Normal";
        case 2:
            return u"Warning";
        case 3:
        case 6:  // compat
            return u"Information";
        case 4:
            return u"Error";
        case 5:
            return u"Critical";
        default:
            return {};
    }
}

uint32_t buildLogLine(const LineContext& context, const LogRecord& record, uint32_t threadId,
                      const Platform::CalendarTime& time, std::u16string& line) noexcept {
    line.clear();
    const std::u16string_view severity = severityName(record.level);
    if (!record.message.data() || severity.empty())
        return lineInvalidParameter;
    try {
        line.reserve(256 + record.message.size());
        line += Ferrow::formatText(u"%s -- (%s)$", timeText(time), severity);
        const auto add = [&line](const std::u16string& field) { (line += u' ') += field; };
        if (context.options & lineLogName)
            add(Ferrow::formatText(u"[%s]$", padded(context.logName, logNameWidth)));
        if (context.options & lineProcessAndThread)
            add(Ferrow::formatText(u"[PID:%5d TID:%5d]$", context.processId, threadId));  // compat
        if (context.options & lineSource) {
            const std::u16string_view file = record.sourceFile.substr(record.sourceFile.rfind(u'\\') + 1);
            add(Ferrow::formatText(u"[%s:%5d]$", padded(file, sourceWidth), record.line));
        }
        if (context.options & lineFunction)
            add(Ferrow::formatText(u"[%s()]$", padded(record.function, functionWidth)));
        (line += u' ') += record.message;
        if (!record.message.ends_with(u'\n'))
            line += u"\r\n";
    } catch (const std::bad_alloc&) {
        line.clear();
        return lineOutOfMemory;
    } catch (...) {
        line.clear();
        return lineInvalidParameter;
    }
    return lineSuccess;
}

}  // namespace ETWLogging::internal
