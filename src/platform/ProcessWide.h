// Objects that exist once per process, and their end.
#pragma once

#include <memory>

#include "platform/Sync.h"

namespace Platform {

// Counts what is alive in the library (module objects, bus handles). While anything is, process-wide objects
// are not freed by static destructors: the process is then leaving with threads of ours still running, and
// freeing under them would crash. When nothing is, the library is being unloaded, or the process left without
// it: it must leave no memory behind. Threads and registrations with the system have ended with the last that
// was alive, for a static destructor must not wait for them; and what others may still call, as a bus its
// callbacks, keeps clear of process-wide objects.
class LibraryUse {
public:
    static void enter() noexcept { count_.fetch_add(1); }
    static void leave() noexcept { count_.fetch_sub(1); }
    // The same, but when it is the last that leaves, that is called first, while it still counts.
    template <class Function>
    static void leave(Function&& beforeLast) {
        for (int before = count_.load();;) {
            if (before == 1)
                beforeLast();
            if (count_.compare_exchange_strong(before, before - 1))
                return;
        }
    }
    static bool idle() noexcept { return count_.load() == 0; }

    // Counts for as long as it lives.
    class Hold {
    public:
        Hold() noexcept { enter(); }
        ~Hold() { leave(); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;
    };

private:
    static inline constinit std::atomic<int> count_{0};
};

// One object of T, built on first use by its default constructor or by a maker. Declare it constinit at
// namespace scope: no function-local statics, whose guards cost handles on Windows.
template <class T>
class ProcessWide {
public:
    constexpr ProcessWide() noexcept = default;
    ~ProcessWide() {
        if (LibraryUse::idle())
            delete object_;
    }
    ProcessWide(const ProcessWide&) = delete;
    ProcessWide& operator=(const ProcessWide&) = delete;

    T& get() {
        return get([] { return std::make_unique<T>(); });
    }
    template <class Maker>
    T& get(Maker&& make) {
        once_.run([&] { object_ = make().release(); });
        return *object_;
    }

private:
    Once once_;
    T* object_ = nullptr;
};

}  // namespace Platform
