#include "platform/Thread.h"

#include <pthread.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace Platform {

struct Thread::State {
    std::thread thread;
};

Thread::Thread() noexcept = default;
Thread::Thread(std::function<void()> body) : state_(std::make_unique<State>()) {
    state_->thread = std::thread(std::move(body));
}
Thread::~Thread() = default;
Thread::Thread(Thread&&) noexcept = default;
Thread& Thread::operator=(Thread&&) noexcept = default;

bool Thread::joinable() const noexcept {
    return state_ && state_->thread.joinable();
}

void Thread::join() {
    if (!joinable())
        throw std::system_error(std::make_error_code(std::errc::invalid_argument));
    if (state_->thread.get_id() == std::this_thread::get_id())
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    state_->thread.join();
}

uint32_t currentThreadId() noexcept {
    return static_cast<uint32_t>(gettid());
}

uintptr_t currentThread() noexcept {
    return static_cast<uintptr_t>(pthread_self());
}

}  // namespace Platform
