#include "platform/TraceProvider.h"

#include <windows.h>
// The tracing headers need the base types above.
#include <cstring>
#include <evntrace.h>
#include <utility>
#include <wmistr.h>

#include "platform/Sync.h"
#include "platform/windows/TraceCalls.h"

namespace Platform {
namespace {

GUID native(const Guid& guid) {
    GUID copy;
    static_assert(sizeof copy == sizeof guid);
    std::memcpy(&copy, &guid, sizeof copy);
    return copy;
}

class SystemTraceProvider final : public TraceProvider {
public:
    SystemTraceProvider(const Guid& provider, const Guid& eventClass, EnableCallback callback,
                        const TraceCalls& calls)
        : calls_(calls),
          provider_(native(provider)),
          eventClass_(native(eventClass)),
          callback_(std::move(callback)) {}

    ~SystemTraceProvider() override { stop(); }

    bool start() noexcept override {
        if (registered_)
            return true;
        {
            // The first callback may come before the registration returns.
            MutexLock lock(mutex_);
            listening_ = true;
        }
        TRACE_GUID_REGISTRATION registration{&eventClass_, nullptr};
        registered_ = calls_.registerGuids(onControl, this, &provider_, 1, &registration, nullptr, nullptr,
                                           &registration_) == ERROR_SUCCESS;
        return registered_;
    }

    void stop() noexcept override {
        if (!registered_)
            return;
        {
            MutexLock lock(mutex_);
            listening_ = false;
        }
        session_.store(0);
        calls_.unregisterGuids(registration_);
        registered_ = false;
    }

    uint32_t write(void* header) noexcept override {
        const TRACEHANDLE session = session_.load();
        if (session == 0)
            return ERROR_INVALID_HANDLE;
        return calls_.event(session, static_cast<EVENT_TRACE_HEADER*>(header));
    }

private:
    static ULONG WINAPI onControl(WMIDPREQUESTCODE code, void* context, ULONG* bufferSize,
                                  void* buffer) noexcept {
        if (bufferSize)
            *bufferSize = 0;
        auto& provider = *static_cast<SystemTraceProvider*>(context);
        MutexLock lock(provider.mutex_);
        return provider.listening_ ? provider.control(code, buffer) : ERROR_SUCCESS;
    }

    ULONG control(WMIDPREQUESTCODE code, void* buffer) REQUIRES(mutex_) {
        if (code == WMI_ENABLE_EVENTS) {
            const TRACEHANDLE session = calls_.loggerHandle(buffer);
            if (session == reinterpret_cast<TRACEHANDLE>(INVALID_HANDLE_VALUE))
                return GetLastError();
            const UCHAR level = calls_.enableLevel(session);
            session_.store(session);
            tell(true, level);
            return ERROR_SUCCESS;
        }
        if (code == WMI_DISABLE_EVENTS) {
            session_.store(0);
            tell(false, 0);
            return ERROR_SUCCESS;
        }
        return ERROR_INVALID_PARAMETER;
    }

    void tell(bool enabled, uint32_t level) REQUIRES(mutex_) {
        try {
            if (callback_)
                callback_(enabled, level);
        } catch (...) {
            // The system's thread takes no exception, and there is nobody to tell.
        }
    }

    const TraceCalls calls_;
    const GUID provider_;
    GUID eventClass_;  // const but for the system's declaration
    const EnableCallback callback_;
    // Held during a callback, which may take the locks of the log; never while the system is called to
    // register or unregister, for which it may wait for a callback.
    Mutex mutex_;
    bool listening_ GUARDED_BY(mutex_) = false;
    std::atomic<TRACEHANDLE> session_{0};
    // Used by start and stop alone.
    TRACEHANDLE registration_ = 0;
    bool registered_ = false;
};

}  // namespace

std::unique_ptr<TraceProvider> createTraceProvider(const Guid& provider, const Guid& eventClass,
                                                   TraceProvider::EnableCallback callback,
                                                   const TraceCalls& calls) {
    return std::make_unique<SystemTraceProvider>(provider, eventClass, std::move(callback), calls);
}

std::unique_ptr<TraceProvider> TraceProvider::create(const Guid& provider, const Guid& eventClass,
                                                     EnableCallback callback) {
    return createTraceProvider(provider, eventClass, std::move(callback), TraceCalls());
}

}  // namespace Platform
