#include "platform/ThreadPointer.h"

#include <system_error>
#include <windows.h>

namespace Platform {

ThreadPointer::ThreadPointer() : key_(TlsAlloc()) {
    if (key_ == TLS_OUT_OF_INDEXES)
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

ThreadPointer::~ThreadPointer() {
    TlsFree(key_);
}

void* ThreadPointer::get() const noexcept {
    const DWORD error = GetLastError();  // which TlsGetValue clears
    void* const value = TlsGetValue(key_);
    SetLastError(error);
    return value;
}

bool ThreadPointer::set(void* value) const noexcept {
    return TlsSetValue(key_, value) != 0;
}

}  // namespace Platform
