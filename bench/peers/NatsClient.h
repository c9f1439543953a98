// A client of a NATS server that speaks the text protocol itself, as the peers need one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace Bench {

// Belongs to one thread. Everything throws when the server is gone or says something else.
class NatsClient {
public:
    // To the loopback interface.
    explicit NatsClient(uint16_t port);
    ~NatsClient();
    NatsClient(const NatsClient&) = delete;
    NatsClient& operator=(const NatsClient&) = delete;

    void subscribe(const std::string& subject);
    void publish(const std::string& subject, const std::string& replyTo, const std::string& payload);
    struct Received {
        std::string replyTo, payload;
    };
    // Waits for the next message.
    Received receive();

private:
    std::string line();
    std::string take(size_t size);
    void receiveMore();
    void send(const std::string& text);

    int socket_;
    std::string buffer_;
};

// In a process of its own: answers each request with its payload, once it has said that it can.
void serveNatsEcho(uint16_t port, const std::function<void()>& ready);
inline constexpr const char* natsEchoSubject = "bench.echo";

}  // namespace Bench
