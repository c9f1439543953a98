// A server of the bus that runs for the host.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/bus/nats/ConnectionFile.h"
#include "host/program/connection/HostError.h"
#include "host/program/server/ServerConfiguration.h"
#include "platform/ChildProcess.h"
#include "platform/Clock.h"
#include "platform/NamedMutex.h"

namespace Host {

// Listens on loopback alone. Passwords and port stay what they were for as long as its folder is there, so
// that processes which are connected find it again after the host has been started anew. Ends with this
// process, however that ends. One thread, which outlives the server.
class BusServer {
public:
    // Another host has the folder, or is about to.
    struct Taken : HostError {
        using HostError::HostError;
    };

    // The server listens and can be found when the constructor returns. Throws Taken or another HostError.
    explicit BusServer(MessageBus::ConnectionFile file);
    // First the server can no longer be found, then it ends.
    ~BusServer();
    BusServer(const BusServer&) = delete;
    BusServer& operator=(const BusServer&) = delete;

    std::u16string url() const;
    // Starts it again when it has ended; to be called now and then. What there is to say about that.
    std::u16string tend();

private:
    // Keeps a second host from the folder, however the first one ends.
    struct Claim {
        explicit Claim(const std::u16string& folder);
        ~Claim();
        std::unique_ptr<Platform::NamedMutex> mutex;
        bool isHeld = false;
    };

    void makePasswords();
    // False when it cannot listen there.
    bool start(uint16_t port);
    std::optional<uint16_t> waitForPort(const std::u16string& portsFile);
    // Leaves what others find it by. False when that cannot be written.
    bool announce();
    // Removes what the server has put aside: it keeps as many full logs as there are.
    void sweepLogs();
    uint16_t rememberedPort() const;

    const MessageBus::ConnectionFile file_;
    const std::u16string folder_;  // of the server's own files
    const std::u16string program_;
    const Claim claim_;
    ServerConfiguration configuration_;
    uint16_t port_ = 0;
    std::optional<Platform::ChildProcess> server_;
    bool isAnnounced_ = false;
    Platform::Clock::Time nextStart_{};
    Platform::Clock::Time nextSweep_{};
};

}  // namespace Host
