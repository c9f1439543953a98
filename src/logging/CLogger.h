// The log of the core library's own messages, for what the process's logger cannot carry: one handler that
// may be replaced by nobody.
#pragma once

#include <cstdint>
#include <memory>

#include "logging/CLoggingHandlerIf.h"
#include "platform/Sync.h"

namespace Ferrow {

// Any thread. A handler is not called after unregisterHandler has returned, save from a call that had begun:
// such a call shares the ownership of its handler.
class CLogger {
public:
    // False, with a message through the handler there is, for a null handler and when one is registered.
    bool registerHandler(std::shared_ptr<CLoggingHandlerIf> handler) noexcept EXCLUDES(mutex_);
    // False, with a message, when this is not the registered handler.
    bool unregisterHandler(const CLoggingHandlerIf* handler) noexcept EXCLUDES(mutex_);
    // Goes to the registered handler, or to a CDefaultLoggingHandler while there is none.
    void log(uint32_t level, const char16_t* file, uint32_t line, const char16_t* function,
             const char16_t* message) noexcept EXCLUDES(mutex_);

private:
    std::shared_ptr<CLoggingHandlerIf> handler() EXCLUDES(mutex_);

    // Guards which handler there is; no handler is called under it.
    Platform::Mutex mutex_;
    std::shared_ptr<CLoggingHandlerIf> handler_ GUARDED_BY(mutex_);
};

// The process's, made on first use.
CLogger& coreLogger();

}  // namespace Ferrow
