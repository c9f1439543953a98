#include "platform/Socket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>

#include "platform/linux/FileDescriptor.h"

namespace Platform {
namespace {

struct Address {
    sockaddr_storage bytes{};
    socklen_t length = 0;

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
};

Socket::Transfer transferred(ssize_t count) noexcept {
    if (count > 0)
        return {Socket::Result::done, static_cast<size_t>(count)};
    const bool mayTryAgain = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
    return {mayTryAgain ? Socket::Result::wouldBlock : Socket::Result::closed};
}

int millisecondsUntil(Clock::Time deadline) noexcept {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::steady().now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, 3'600'000));
}

}  // namespace

struct Socket::State {
    FileDescriptor connection;
    FileDescriptor wakeUp;
};

Socket::Socket() : state_(std::make_unique<State>()) {
    state_->wakeUp.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!state_->wakeUp)
        throw std::system_error(errno, std::generic_category(), "no event for a socket");
}

Socket::~Socket() = default;

bool Socket::connect(const std::string& address, uint16_t port, std::chrono::nanoseconds timeout) {
    const Address target(address, port);
    if (target.length == 0)
        return false;
    FileDescriptor connection(
        socket(target.bytes.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP));
    const int on = 1;
    if (!connection || setsockopt(connection.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0)
        return false;
    if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&target.bytes), target.length) != 0 &&
        errno != EINPROGRESS)
        return false;
    state_->connection = std::move(connection);
    const Clock::Time deadline = deadlineAfter(Clock::steady().now(), timeout);
    int error = ETIMEDOUT;
    while (Clock::steady().now() < deadline) {
        const Ready ready = wait(true, deadline);
        if (ready.writable) {
            socklen_t size = sizeof error;
            if (getsockopt(state_->connection.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0)
                error = errno;
            break;
        }
    }
    if (error == 0)
        return true;
    close();
    return false;
}

Socket::Transfer Socket::send(std::string_view bytes) noexcept {
    return transferred(::send(state_->connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

Socket::Transfer Socket::receive(char* buffer, size_t size) noexcept {
    return transferred(recv(state_->connection.get(), buffer, size, 0));
}

Socket::Ready Socket::wait(bool wantsWritable, Clock::Time deadline) noexcept {
    pollfd events[] = {
        {state_->wakeUp.get(), POLLIN, 0},
        {state_->connection.get(), static_cast<short>(POLLIN | (wantsWritable ? POLLOUT : 0)), 0}};
    Ready ready;
    if (poll(events, state_->connection ? 2 : 1, millisecondsUntil(deadline)) <= 0)
        return ready;
    if (events[0].revents != 0) {
        eventfd_t count;
        eventfd_read(state_->wakeUp.get(), &count);
        ready.woken = true;
    }
    const int seen = events[1].revents;
    ready.writable = (seen & (POLLOUT | (wantsWritable ? POLLERR | POLLHUP : 0))) != 0;
    ready.readable = (seen & (POLLIN | POLLERR | POLLHUP)) != 0;
    return ready;
}

void Socket::wake() noexcept {
    eventfd_write(state_->wakeUp.get(), 1);
}

void Socket::close() noexcept {
    state_->connection.reset();
}

}  // namespace Platform
