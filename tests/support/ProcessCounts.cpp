#include "support/ProcessCounts.h"

#include <cstdlib>

#include "support/Monitor.h"

#if defined(_WIN32)
// The second needs the first.
// clang-format off
#include <windows.h>
#include <malloc.h>
#include <tlhelp32.h>
// clang-format on
#else
#include <filesystem>
#include <malloc.h>
#endif

namespace Support {

#if defined(_WIN32)

namespace {

// Counted one by one, since not every system tells their number. Handle values are multiples of four and
// freed ones are given out again, so that nothing comes after many that are free.
size_t openHandles() {
    constexpr uintptr_t step = 4, farEnough = 512 * step;
    size_t count = 0;
    uintptr_t last = 0;
    for (uintptr_t value = step; value <= last + farEnough; value += step) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) {
            ++count;
            last = value;
        }
    }
    return count;
}

}  // namespace

ProcessCounts ProcessCounts::now() {
    ProcessCounts counts;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        counts.threads += entry.th32OwnerProcessID == GetCurrentProcessId();
    CloseHandle(snapshot);
    counts.handles = openHandles();
    // Libraries and program allocate from the C runtime's one heap.
    const HANDLE heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    HeapLock(heap);
    PROCESS_HEAP_ENTRY block{};
    while (HeapWalk(heap, &block))
        counts.memory += block.wFlags & PROCESS_HEAP_ENTRY_BUSY ? block.cbData : 0;
    HeapUnlock(heap);
    return counts;
}

#else

namespace {

size_t entriesOf(const char* folder) {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder))
        ++count;
    return count;
}

}  // namespace

ProcessCounts ProcessCounts::now() {
    return {entriesOf("/proc/self/task"), entriesOf("/proc/self/fd"), mallinfo2().uordblks};
}

#endif

bool ProcessCounts::comesDownTo(const ProcessCounts& then) {
    constexpr size_t memoryTolerance = 4 * 1024;
    return eventually([&] {
        const ProcessCounts counts = now();
        return counts.threads <= then.threads && counts.handles <= then.handles &&
               counts.memory <= then.memory + memoryTolerance;
    });
}

std::ostream& operator<<(std::ostream& out, const ProcessCounts& counts) {
    out << counts.threads << " threads, " << counts.handles << " handles, " << counts.memory << " bytes";
#if !defined(_WIN32)
    if (!std::getenv("GLIBC_TUNABLES"))
        out << ", with those that the C library keeps for threads: run by ctest, which tells it not to";
#endif
    return out;
}

}  // namespace Support
