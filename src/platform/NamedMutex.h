// A mutex that processes share by its name: those of the machine, on Windows those of one user session unless
// the name says "Global\". Also serialises the threads of one process.
#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace Platform {

class NamedMutex {
public:
    // What the mutex serialises lies in the guarded folder: accounts that may change files there can hold the
    // mutex, and no others, who could keep it from them. A folder that is yet to be made will be this
    // account's. Null when the system refuses the mutex.
    static std::unique_ptr<NamedMutex> create(const std::u16string& name, const std::u16string& guarded);
    virtual ~NamedMutex() = default;
    // False when the time ran out. A mutex whose owner died is acquired. Not to be acquired twice by one
    // thread; released by the thread that acquired it.
    virtual bool acquire(std::chrono::milliseconds timeout) = 0;
    virtual void release() = 0;
};

}  // namespace Platform
