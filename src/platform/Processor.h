// What a thread needs to know of the processors, to look for work before it sleeps.
#pragma once

#include <cstddef>

namespace Platform {

// How many processors the calling thread may run on; at least 1.
size_t usableProcessors() noexcept;

// For loops that look at memory: a pause of well below a microsecond.
void relaxProcessor() noexcept;
// Lets another thread run that waits for this processor.
void yieldProcessor() noexcept;

}  // namespace Platform
