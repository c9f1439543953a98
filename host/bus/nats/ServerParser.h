// Reads what the server sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace MessageBus {

// The texts live as long as the call that brings them.
struct ServerMessage {
    std::string_view subject;
    std::string_view reply;  // empty when no reply is asked for
    int status = 0;          // of the headers: 503 when nobody has subscribed; 0 without one
    std::string_view payload;
};

class ServerEvents {
public:
    virtual void info(std::string_view json) = 0;
    virtual void message(const ServerMessage& message) = 0;
    virtual void ping() = 0;
    virtual void pong() = 0;
    virtual void error(std::string_view text) = 0;  // without the quotes around it

protected:
    ~ServerEvents() = default;
};

// Takes the stream in pieces of any size. Memory never exceeds what has come of one line or message by more
// than a factor; a line or a message beyond these lengths is no server's.
class ServerParser {
public:
    static constexpr size_t mostLineBytes = size_t{64} << 10;
    static constexpr size_t mostMessageBytes = size_t{64} << 20;

    // False when the stream is not the protocol's: nothing further must be fed then.
    bool feed(std::string_view bytes, ServerEvents& events);

private:
    // How much of the bytes has been used; nothing follows a violation.
    size_t parse(std::string_view bytes, ServerEvents& events);
    // False when the message has not come whole yet, or is none.
    bool parseMessage(std::string_view arguments, std::string_view rest, bool hasHeaders, size_t& used,
                      ServerEvents& events);

    std::string pending_;
    size_t wanted_ = 0;  // bytes of pending_ before another look is worth it
    bool violated_ = false;
};

}  // namespace MessageBus
