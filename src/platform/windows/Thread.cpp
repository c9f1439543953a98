#include "platform/Thread.h"

#include <exception>
#include <system_error>

#include "platform/windows/Handle.h"

namespace Platform {

struct Thread::State {
    Handle handle;
    DWORD number = 0;
};

namespace {

DWORD WINAPI runBody(void* parameter) noexcept {
    const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(parameter));
    (*body)();
    return 0;
}

}  // namespace

Thread::Thread() noexcept = default;

Thread::Thread(std::function<void()> body) : state_(std::make_unique<State>()) {
    auto owned = std::make_unique<std::function<void()>>(std::move(body));
    state_->handle.reset(CreateThread(nullptr, 0, runBody, owned.get(), 0, &state_->number));
    if (!state_->handle)
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    static_cast<void>(owned.release());  // now the thread's
}

Thread::~Thread() {
    if (joinable())
        std::terminate();
}

Thread::Thread(Thread&&) noexcept = default;

Thread& Thread::operator=(Thread&& other) noexcept {
    if (joinable())
        std::terminate();
    state_ = std::move(other.state_);
    return *this;
}

bool Thread::joinable() const noexcept {
    return state_ && state_->handle;
}

void Thread::join() {
    if (!joinable())
        throw std::system_error(std::make_error_code(std::errc::invalid_argument));
    if (state_->number == GetCurrentThreadId())
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    WaitForSingleObject(state_->handle.get(), INFINITE);
    state_.reset();
}

uint32_t currentThreadId() noexcept {
    return GetCurrentThreadId();
}

uintptr_t currentThread() noexcept {
    return GetCurrentThreadId();
}

}  // namespace Platform
