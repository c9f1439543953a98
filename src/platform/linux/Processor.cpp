#include "platform/Processor.h"

#include <algorithm>
#include <sched.h>
#include <unistd.h>

namespace Platform {

size_t usableProcessors() noexcept {
    cpu_set_t processors;
    if (sched_getaffinity(0, sizeof processors, &processors) == 0)
        return static_cast<size_t>(std::max(1, CPU_COUNT(&processors)));
    // More processors than the set can name.
    return static_cast<size_t>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

void relaxProcessor() noexcept {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

void yieldProcessor() noexcept {
    sched_yield();
}

}  // namespace Platform
