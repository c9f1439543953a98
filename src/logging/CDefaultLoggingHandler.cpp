#include "logging/CDefaultLoggingHandler.h"

#include "platform/DebuggerOutput.h"
#include "text/Format.h"

namespace Ferrow {
namespace {

const char16_t* orEmpty(const char16_t* text) {
    return text ? text : u"";
}

}  // namespace

CDefaultLoggingHandler::CDefaultLoggingHandler() noexcept
    : CDefaultLoggingHandler(Platform::writeToDebugger) {}

std::u16string CDefaultLoggingHandler::formatLine(uint32_t level, const char16_t* file, uint32_t line,
                                                  const char16_t* function, const char16_t* message) {
    if (level == coreLogNothing)
        return {};
    const std::u16string_view format = level == coreLogInfo    ? u"%s(%d): [INFO]: [%s]: %s\n"
                                       : level == coreLogError ? u"%s(%d): [ERROR]: [%s]: %s\n"
                                                               : u"%s(%d): [UNKNOWN]: [%s]: %s\n";
    return formatText(format, orEmpty(file), line, orEmpty(function), orEmpty(message));
}

void CDefaultLoggingHandler::log(uint32_t level, const char16_t* file, uint32_t line,
                                 const char16_t* function, const char16_t* message) noexcept {
    try {
        if (!formatLine(level, file, line, function, message).empty())
            output_(orEmpty(message));  // compat
    } catch (...) {
        try {
            output_(u"General memory-allocation failure in Ferrow logger.");
        } catch (...) {
            // Not even that much memory is left.
        }
    }
}

}  // namespace Ferrow
