#include "platform/Processor.h"

#include <algorithm>
#include <bit>
#include <windows.h>

namespace Platform {

size_t usableProcessors() noexcept {
    DWORD_PTR process = 0;
    DWORD_PTR system = 0;
    if (!GetProcessAffinityMask(GetCurrentProcess(), &process, &system))
        return 1;
    return static_cast<size_t>(std::max(1, std::popcount(process)));
}

void relaxProcessor() noexcept {
    YieldProcessor();
}

void yieldProcessor() noexcept {
    SwitchToThread();
}

}  // namespace Platform
