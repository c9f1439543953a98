#include "platform/Socket.h"

#include <algorithm>
#include <system_error>
#include <utility>
#include <winsock2.h>
#include <ws2tcpip.h>

namespace Platform {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(WSAGetLastError(), std::system_category(), what);
}

// The socket library is in use for as long as it lives.
class SocketLibrary {
public:
    SocketLibrary() {
        WSADATA data;
        if (const int error = WSAStartup(MAKEWORD(2, 2), &data); error != 0)
            throw std::system_error(error, std::system_category(), "no sockets");
    }
    ~SocketLibrary() { WSACleanup(); }
    SocketLibrary(const SocketLibrary&) = delete;
    SocketLibrary& operator=(const SocketLibrary&) = delete;
};

class OpenSocket {
public:
    OpenSocket() noexcept = default;
    OpenSocket(int family, int type, int protocol) noexcept
        : socket_(WSASocketW(family, type, protocol, nullptr, 0,
                             WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT)) {
        u_long on = 1;
        if (*this && ioctlsocket(socket_, FIONBIO, &on) != 0)
            reset();
    }
    ~OpenSocket() { reset(); }
    OpenSocket& operator=(OpenSocket&& other) noexcept {
        reset();
        socket_ = std::exchange(other.socket_, INVALID_SOCKET);
        return *this;
    }

    SOCKET get() const noexcept { return socket_; }
    explicit operator bool() const noexcept { return socket_ != INVALID_SOCKET; }
    void reset() noexcept {
        if (*this)
            closesocket(std::exchange(socket_, INVALID_SOCKET));
    }

private:
    SOCKET socket_ = INVALID_SOCKET;
};

struct Address {
    sockaddr_storage bytes{};
    int length = 0;

    Address(const std::string& text, uint16_t port) {
        auto& four = reinterpret_cast<sockaddr_in&>(bytes);
        auto& six = reinterpret_cast<sockaddr_in6&>(bytes);
        if (inet_pton(AF_INET, text.c_str(), &four.sin_addr) == 1) {
            four.sin_family = AF_INET;
            four.sin_port = htons(port);
            length = sizeof four;
        } else if (inet_pton(AF_INET6, text.c_str(), &six.sin6_addr) == 1) {
            six.sin6_family = AF_INET6;
            six.sin6_port = htons(port);
            length = sizeof six;
        }
    }
    const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&bytes); }
};

Socket::Transfer transferred(int count) noexcept {
    if (count > 0)
        return {Socket::Result::done, static_cast<size_t>(count)};
    return {count < 0 && WSAGetLastError() == WSAEWOULDBLOCK ? Socket::Result::wouldBlock
                                                             : Socket::Result::closed};
}

int chunk(size_t size) noexcept {
    return static_cast<int>(std::min<size_t>(size, 1 << 20));
}

}  // namespace

// A socket of the state's own that sends to itself wakes it: what waits for a connection waits for sockets
// alone.
struct Socket::State {
    SocketLibrary library;
    OpenSocket connection;
    OpenSocket wakeUp{AF_INET, SOCK_DGRAM, IPPROTO_UDP};
};

Socket::Socket() : state_(std::make_unique<State>()) {
    Address own("127.0.0.1", 0);
    const SOCKET wakeUp = state_->wakeUp.get();
    if (!state_->wakeUp || bind(wakeUp, own.get(), own.length) != 0 ||
        getsockname(wakeUp, reinterpret_cast<sockaddr*>(&own.bytes), &own.length) != 0 ||
        ::connect(wakeUp, own.get(), own.length) != 0)
        fail("no wake-up for a socket");
}

Socket::~Socket() = default;

bool Socket::connect(const std::string& address, uint16_t port, std::chrono::nanoseconds timeout) {
    const Address target(address, port);
    if (target.length == 0)
        return false;
    OpenSocket connection(target.bytes.ss_family, SOCK_STREAM, IPPROTO_TCP);
    const int on = 1;
    if (!connection || setsockopt(connection.get(), IPPROTO_TCP, TCP_NODELAY,
                                  reinterpret_cast<const char*>(&on), sizeof on) != 0)
        return false;
    if (::connect(connection.get(), target.get(), target.length) != 0 && WSAGetLastError() != WSAEWOULDBLOCK)
        return false;
    state_->connection = std::move(connection);
    const Clock::Time deadline = deadlineAfter(Clock::steady().now(), timeout);
    int error = WSAETIMEDOUT;
    while (Clock::steady().now() < deadline) {
        const Ready ready = wait(true, deadline);
        if (ready.writable) {
            int size = sizeof error;
            if (getsockopt(state_->connection.get(), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error),
                           &size) != 0)
                error = WSAGetLastError();
            break;
        }
    }
    if (error == 0)
        return true;
    close();
    return false;
}

Socket::Transfer Socket::send(std::string_view bytes) noexcept {
    return transferred(::send(state_->connection.get(), bytes.data(), chunk(bytes.size()), 0));
}

Socket::Transfer Socket::receive(char* buffer, size_t size) noexcept {
    return transferred(recv(state_->connection.get(), buffer, chunk(size), 0));
}

Socket::Ready Socket::wait(bool wantsWritable, Clock::Time deadline) noexcept {
    const SOCKET wakeUp = state_->wakeUp.get();
    const SOCKET connection = state_->connection.get();
    fd_set readable, writable, failed;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&failed);
    FD_SET(wakeUp, &readable);
    if (state_->connection) {
        FD_SET(connection, &readable);
        FD_SET(connection, &failed);
        if (wantsWritable)
            FD_SET(connection, &writable);
    }
    const auto left = std::clamp<int64_t>(
        std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::steady().now()).count(), 0,
        3'600'000'000);
    timeval time{static_cast<long>(left / 1'000'000), static_cast<long>(left % 1'000'000)};
    Ready ready;
    if (select(0, &readable, &writable, &failed, &time) <= 0)
        return ready;
    if (FD_ISSET(wakeUp, &readable)) {
        char bytes[16];
        while (recv(wakeUp, bytes, sizeof bytes, 0) > 0)
            ;
        ready.woken = true;
    }
    const bool gone = state_->connection && FD_ISSET(connection, &failed);
    ready.readable = gone || (state_->connection && FD_ISSET(connection, &readable));
    ready.writable = wantsWritable && (gone || (state_->connection && FD_ISSET(connection, &writable)));
    return ready;
}

void Socket::wake() noexcept {
    ::send(state_->wakeUp.get(), "", 1, 0);
}

void Socket::close() noexcept {
    state_->connection.reset();
}

}  // namespace Platform
