#include "platform/TraceProvider.h"

#include <windows.h>
// The tracing headers need the base types above.
#include <cstring>
#include <evntrace.h>
#include <utility>
#include <wmistr.h>

#include "platform/Sync.h"

namespace Platform {
namespace {

class SystemTraceProvider;

// Guards the list of providers that callbacks of the system may still find. The system does not say that it
// has no callback running when a registration ends, so each looks its provider up, and runs while that cannot
// go. Held during a callback, which therefore must not create or destroy a provider; a callback may take the
// locks of the log. The list is chained through its members, for it outlives every object of this process.
constinit Mutex liveMutex;
constinit SystemTraceProvider* firstLive GUARDED_BY(liveMutex) = nullptr;

GUID native(const Guid& guid) {
    GUID copy;
    static_assert(sizeof copy == sizeof guid);
    std::memcpy(&copy, &guid, sizeof copy);
    return copy;
}

class SystemTraceProvider final : public TraceProvider {
public:
    SystemTraceProvider(const Guid& provider, const Guid& eventClass, EnableCallback callback)
        : callback_(std::move(callback)) {
        {
            MutexLock lock(liveMutex);
            next_ = std::exchange(firstLive, this);
        }
        const GUID control = native(provider);
        GUID classId = native(eventClass);
        TRACE_GUID_REGISTRATION registration{&classId, nullptr};
        registered_ = RegisterTraceGuidsW(onControl, this, &control, 1, &registration, nullptr, nullptr,
                                          &registration_) == ERROR_SUCCESS;
    }

    ~SystemTraceProvider() override {
        {
            MutexLock lock(liveMutex);
            SystemTraceProvider** link = &firstLive;
            while (*link != this)
                link = &(*link)->next_;
            *link = next_;
        }
        if (registered_)
            UnregisterTraceGuids(registration_);
    }

    bool registered() const noexcept { return registered_; }

    uint32_t write(void* header) override {
        const TRACEHANDLE session = session_.load();
        if (session == 0)
            return ERROR_INVALID_HANDLE;
        return TraceEvent(session, static_cast<EVENT_TRACE_HEADER*>(header));
    }

private:
    static ULONG WINAPI onControl(WMIDPREQUESTCODE code, void* context, ULONG* bufferSize,
                                  void* buffer) noexcept {
        if (bufferSize)
            *bufferSize = 0;
        MutexLock lock(liveMutex);
        for (SystemTraceProvider* provider = firstLive; provider; provider = provider->next_) {
            if (provider == context)
                return provider->control(code, buffer);
        }
        return ERROR_SUCCESS;
    }

    ULONG control(WMIDPREQUESTCODE code, void* buffer) {
        if (code == WMI_ENABLE_EVENTS) {
            const TRACEHANDLE session = GetTraceLoggerHandle(buffer);
            if (session == reinterpret_cast<TRACEHANDLE>(INVALID_HANDLE_VALUE))
                return GetLastError();
            const UCHAR level = GetTraceEnableLevel(session);
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

    void tell(bool enabled, uint32_t level) {
        try {
            if (callback_)
                callback_(enabled, level);
        } catch (...) {
            // The system's thread takes no exception, and there is nobody to tell.
        }
    }

    const EnableCallback callback_;
    SystemTraceProvider* next_ = nullptr;  // guarded by liveMutex
    std::atomic<TRACEHANDLE> session_{0};
    TRACEHANDLE registration_ = 0;
    bool registered_ = false;
};

}  // namespace

std::unique_ptr<TraceProvider> TraceProvider::create(const Guid& provider, const Guid& eventClass,
                                                     EnableCallback callback) {
    auto created = std::make_unique<SystemTraceProvider>(provider, eventClass, std::move(callback));
    if (!created->registered())
        return nullptr;
    return created;
}

}  // namespace Platform
