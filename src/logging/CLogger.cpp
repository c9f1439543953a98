#include "logging/CLogger.h"

#include "logging/CDefaultLoggingHandler.h"
#include "platform/ProcessWide.h"
#include "text/Format.h"

namespace Ferrow {
namespace {

constexpr std::u16string_view memoryFailure = u"General memory-allocation failure in Ferrow logger.";

template <class... Arguments>
void report(CLogger& logger, const char16_t* function, uint32_t line, std::u16string_view format,
            const Arguments&... arguments) noexcept {
    try {
        logger.log(coreLogError, u"CLogger", line, function,
                   formatText(format, function, arguments...).c_str());
    } catch (...) {
        logger.log(coreLogError, u"CLogger", line, function, memoryFailure.data());
    }
}

constinit Platform::ProcessWide<CLogger> process;

}  // namespace

CLogger& coreLogger() {
    return process.get();
}

std::shared_ptr<CLoggingHandlerIf> CLogger::handler() {
    Platform::MutexLock lock(mutex_);
    return handler_;
}

bool CLogger::registerHandler(std::shared_ptr<CLoggingHandlerIf> handler) noexcept {
    constexpr auto function = u"Ferrow::CLogger::registerHandler";
    if (!handler) {
        report(*this, function, __LINE__, u"%s: Cannot Register (NULL) handler");  // compat
        return false;
    }
    const void* registered = nullptr;
    {
        Platform::MutexLock lock(mutex_);
        if (!handler_) {
            handler_ = std::move(handler);
            return true;
        }
        registered = handler_.get();
    }
    const void* const refused = handler.get();
    report(*this, function, __LINE__, u"%s: Registered Logging Handler 0x%08X cannot be replaced with 0x%08X",
           registered, refused);
    return false;
}

bool CLogger::unregisterHandler(const CLoggingHandlerIf* handler) noexcept {
    constexpr auto function = u"Ferrow::CLogger::unregisterHandler";
    const void* const requested = handler;
    if (!handler) {
        report(*this, function, __LINE__, u"%s: Cannot Unregister (NULL) handler");  // compat
        return false;
    }
    std::shared_ptr<CLoggingHandlerIf> leaving;  // let go of outside the lock
    const void* registered = nullptr;
    {
        Platform::MutexLock lock(mutex_);
        registered = handler_.get();
        if (handler_.get() == handler) {
            leaving.swap(handler_);
            return true;
        }
    }
    if (!registered)
        report(*this, function, __LINE__,
               u"%s: Request to Unregister Logging handler 0x%08X, but none are registered", requested);
    else
        report(*this, function, __LINE__,
               u"%s: Failed to Unregister Logging handler (requested handler 0x%08X != registered handler "
               u"0x%08X)",
               requested, registered);
    return false;
}

void CLogger::log(uint32_t level, const char16_t* file, uint32_t line, const char16_t* function,
                  const char16_t* message) noexcept {
    if (const auto registered = handler())
        registered->log(level, file, line, function, message);
    else
        CDefaultLoggingHandler().log(level, file, line, function, message);
}

}  // namespace Ferrow
