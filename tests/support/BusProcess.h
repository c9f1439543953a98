// The bus library as another process has it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>

#include <brevant/bus.h>
#include <brevant/library.h>

#include "platform/Files.h"
#include "support/Beside.h"

namespace Support {

// A copy of the library beside the test, loaded under a name of its own, with a connection of its own.
class BusProcess {
public:
    explicit BusProcess(const std::string& url) {
        setenv("BREVANT_BUS", url.c_str(), 1);
        static int count = 0;
        folder_ = std::filesystem::temp_directory_path() /
                  ("brevant-bus-" + std::to_string(getpid()) + "-" + std::to_string(++count));
        std::filesystem::create_directory(folder_);
        const auto copy = folder_ / "MessageBus.dll";
        std::filesystem::copy_file(Platform::nativePath(beside(u"MessageBus.dll")), copy);
        library_.emplace(Platform::portablePath(copy.string()));
        const auto create = library_->function<BrevantCreateObject>(BREVANT_EXPORT_CREATE_OBJECT);
        functions_ = static_cast<const BrevantBusFunctions*>(create(BREVANT_BUS_VERSION));
        status_ = functions_->acquireHandle(&handle_);
    }
    ~BusProcess() {
        release();
        library_.reset();
        std::filesystem::remove_all(folder_);
    }
    BusProcess(const BusProcess&) = delete;
    BusProcess& operator=(const BusProcess&) = delete;
    operator const BrevantBusFunctions*() const { return functions_; }
    uint32_t status() const { return status_; }
    void release() {
        if (std::exchange(status_, MODULE_STATUS_INVALID_HANDLE) == MODULE_STATUS_SUCCESS)
            functions_->releaseHandle(handle_);
    }

private:
    std::filesystem::path folder_;
    std::optional<LoadedLibrary> library_;
    const BrevantBusFunctions* functions_ = nullptr;
    BrevantBusHandle handle_ = nullptr;  // keeps the connection
    uint32_t status_ = 0;
};

}  // namespace Support
