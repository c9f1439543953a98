#include "bench/peers/NatsClient.h"

#include <arpa/inet.h>
#include <iterator>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace Bench {

NatsClient::NatsClient(uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int yes = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(port);
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0)
        throw std::runtime_error("no NATS server");
    send("CONNECT {\"verbose\":false,\"pedantic\":false}\r\nPING\r\n");
    while (line() != "PONG") {
    }
}

NatsClient::~NatsClient() {
    close(socket_);
}

void NatsClient::subscribe(const std::string& subject) {
    send("SUB " + subject + " 1\r\nPING\r\n");
    while (line() != "PONG") {
    }
}

void NatsClient::publish(const std::string& subject, const std::string& replyTo, const std::string& payload) {
    send("PUB " + subject + (replyTo.empty() ? "" : " " + replyTo) + " " + std::to_string(payload.size()) +
         "\r\n" + payload + "\r\n");
}

// "MSG subject id [reply-to] size", then the payload.
NatsClient::Received NatsClient::receive() {
    for (;;) {
        std::istringstream words(line());
        std::vector<std::string> word{std::istream_iterator<std::string>(words), {}};
        if (!word.empty() && word[0] == "PING") {
            send("PONG\r\n");
        } else if (word.size() >= 4 && word[0] == "MSG") {
            std::string payload = take(std::stoul(word.back()) + 2);
            payload.resize(payload.size() - 2);
            return {word.size() == 5 ? word[3] : "", std::move(payload)};
        } else {
            throw std::runtime_error("the NATS server says " + words.str());
        }
    }
}

std::string NatsClient::line() {
    size_t end;
    while ((end = buffer_.find("\r\n")) == std::string::npos)
        receiveMore();
    std::string text = take(end + 2);
    text.resize(end);
    return text;
}

std::string NatsClient::take(size_t size) {
    while (buffer_.size() < size)
        receiveMore();
    std::string taken = buffer_.substr(0, size);
    buffer_.erase(0, size);
    return taken;
}

void NatsClient::receiveMore() {
    char received[65536];
    const ssize_t count = recv(socket_, received, sizeof received, 0);
    if (count <= 0)
        throw std::runtime_error("the NATS server is gone");
    buffer_.append(received, static_cast<size_t>(count));
}

void NatsClient::send(const std::string& text) {
    if (::send(socket_, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("the NATS server is gone");
}

void serveNatsEcho(uint16_t port, const std::function<void()>& ready) {
    NatsClient client(port);
    client.subscribe(natsEchoSubject);
    ready();
    for (;;) {
        const NatsClient::Received request = client.receive();
        client.publish(request.replyTo, "", request.payload);
    }
}

}  // namespace Bench
