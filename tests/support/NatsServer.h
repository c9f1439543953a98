// A server that a test starts, kills and freezes.
#pragma once

#include <string>

namespace Support {

class NatsServer {
public:
    // Further lines for its configuration.
    explicit NatsServer(const std::string& configuration = "max_payload: 8MB\n");
    ~NatsServer();
    NatsServer(const NatsServer&) = delete;
    NatsServer& operator=(const NatsServer&) = delete;

    // "nats://127.0.0.1:4222", the same after a restart; the account stands before the address.
    std::string url(const std::string& account = "") const;
    uint16_t port() const { return port_; }
    void kill();
    void restart();
    void freeze(bool frozen);

private:
    void start();

    std::string folder_;
    uint16_t port_ = 0;
    int process_ = 0;
};

}  // namespace Support
