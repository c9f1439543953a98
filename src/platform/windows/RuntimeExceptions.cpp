// What the C++ runtime remembers of a thread's exceptions, kept in the image's own thread-local block: the
// loader makes that for every thread and takes it away with the library. The runtime's own way of keeping it
// makes a record of each thread that throws, with handles, and leaves those of the host's threads behind when
// the library is freed.
#include <cstdint>
#include <cxxabi.h>
#include <windows.h>

// From the C runtime: where the block's template begins, and this image's number among the blocks.
extern "C" {
extern char* _tls_start;
extern ULONG _tls_index;
}

namespace __cxxabiv1 {

struct __cxa_eh_globals {
    void* caughtExceptions;
    unsigned int uncaughtExceptions;
};

namespace {

__attribute__((section(".tls$G"))) __cxa_eh_globals blankGlobals{nullptr, 0};

}  // namespace

// The link asks for it by name, so that it comes before the runtime's.
extern "C" __cxa_eh_globals* __cxa_get_globals() noexcept {
    // The thread's array of blocks, at the place where every compiler for this system looks for it.
    char* const* blocks;
    asm("movq %%gs:0x58, %0" : "=r"(blocks));
    const auto offset = reinterpret_cast<uintptr_t>(&blankGlobals) - reinterpret_cast<uintptr_t>(&_tls_start);
    return reinterpret_cast<__cxa_eh_globals*>(blocks[_tls_index] + offset);
}

extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept {
    return __cxa_get_globals();
}

}  // namespace __cxxabiv1
