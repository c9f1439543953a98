// A pointer of which each thread has its own.
#pragma once

namespace Platform {

// Null until the thread sets it. Serves where thread_local would leave storage of an unloaded library behind
// on the host's threads, as it does on Windows.
class ThreadPointer {
public:
    // Throws std::system_error when the system has none left.
    ThreadPointer();
    ~ThreadPointer();
    ThreadPointer(const ThreadPointer&) = delete;
    ThreadPointer& operator=(const ThreadPointer&) = delete;

    void* get() const noexcept;
    // False when memory is short.
    bool set(void* value) const noexcept;

private:
    unsigned long key_ = 0;
};

}  // namespace Platform
