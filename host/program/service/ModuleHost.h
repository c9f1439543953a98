// The alert broker, loaded and driven as any host does it.
#pragma once

#include <optional>
#include <string>

#include <brevant/module.h>

#include "host/program/connection/BusLibrary.h"
#include "host/program/connection/LibraryFile.h"

namespace Host {

class ModuleHost {
public:
    // Loads the library and makes one module. Throws HostError. The broker's log files go into the subfolder
    // logGroup.
    ModuleHost(const std::u16string& libraryPath, const std::u16string& logGroup);
    // Stops what was started, destroys the module and frees the library. Waits for an alert on screen to end.
    ~ModuleHost();
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;

    // The module opens the bus by itself, or is handed a handle of this bus. Throw HostError. Called once.
    void startWithOwnBus();
    void startOnBus(const BrevantBusFunctions& functions);

    std::u16string version() const;

private:
    void check(uint32_t status, const char* step) const;
    void start();

    LibraryFile file_;
    // Handed over: outlives the module but not its library, which the bus may be about to call until then.
    std::optional<BusHandle> bus_;
    const BrevantModuleFunctions* functions_;
    ModuleHandle* module_ = nullptr;
    bool initialized_ = false;
    bool started_ = false;
};

}  // namespace Host
