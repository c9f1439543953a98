#include "platform/NamedMutex.h"

#include <algorithm>

#include "AccessList.h"
#include "Handle.h"
#include "Wide.h"
#include "platform/windows/Handle.h"
#include "platform/windows/Wide.h"

namespace Platform {
namespace {

class SystemMutex final : public NamedMutex {
public:
    explicit SystemMutex(HANDLE handle) noexcept : handle_(handle) {}

    bool acquire(std::chrono::milliseconds timeout) override {
        const auto most = static_cast<std::chrono::milliseconds::rep>(INFINITE - 1);
        const auto wait = std::clamp<std::chrono::milliseconds::rep>(timeout.count(), 0, most);
        const DWORD ended = WaitForSingleObject(handle_.get(), static_cast<DWORD>(wait));
        return ended == WAIT_OBJECT_0 || ended == WAIT_ABANDONED;
    }
    void release() override { ReleaseMutex(handle_.get()); }

private:
    const Handle handle_;
};

}  // namespace

std::unique_ptr<NamedMutex> NamedMutex::create(const std::u16string& name, const std::u16string& guarded) {
    NewAccess writers(writersMutexList(systemPath(guarded)));
    HANDLE handle = CreateMutexW(writers.attributes(), FALSE, wide(name));
    if (!handle && GetLastError() == ERROR_ACCESS_DENIED)
        handle = OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, wide(name));
    if (!handle)
        return nullptr;
    return std::make_unique<SystemMutex>(handle);
}

}  // namespace Platform
