// The message bus library beside the program.
#pragma once

#include <string>

#include <brevant/bus.h>
#include <brevant/library.h>

#include "host/program/connection/LibraryFile.h"

namespace Host {

// Loaded from construction to destruction; handles of the bus are released before.
class BusLibrary {
public:
    // Throws HostError.
    explicit BusLibrary(const std::u16string& path);
    ~BusLibrary();
    BusLibrary(const BusLibrary&) = delete;
    BusLibrary& operator=(const BusLibrary&) = delete;

    const BrevantBusFunctions& functions() const noexcept { return *functions_; }

private:
    LibraryFile file_;
    const BrevantBusFunctions* functions_;
};

// A bus handle of the host's own, for a module that is handed one.
class BusHandle {
public:
    // Throws HostError.
    explicit BusHandle(const BrevantBusFunctions& functions);
    ~BusHandle() { functions_.releaseHandle(handle_); }
    BusHandle(const BusHandle&) = delete;
    BusHandle& operator=(const BusHandle&) = delete;

    BrevantBusHandle get() const noexcept { return handle_; }

private:
    const BrevantBusFunctions& functions_;
    BrevantBusHandle handle_ = nullptr;
};

}  // namespace Host
