#include "platform/ThreadPointer.h"

#include <pthread.h>
#include <system_error>

namespace Platform {

ThreadPointer::ThreadPointer() {
    pthread_key_t key = 0;
    if (const int error = pthread_key_create(&key, nullptr); error != 0)
        throw std::system_error(error, std::generic_category());
    key_ = key;
}

ThreadPointer::~ThreadPointer() {
    pthread_key_delete(static_cast<pthread_key_t>(key_));
}

void* ThreadPointer::get() const noexcept {
    return pthread_getspecific(static_cast<pthread_key_t>(key_));
}

bool ThreadPointer::set(void* value) const noexcept {
    return pthread_setspecific(static_cast<pthread_key_t>(key_), value) == 0;
}

}  // namespace Platform
