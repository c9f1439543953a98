#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <brevant/bus.h>

#include "host/bus/BusFunctions.h"
#include "support/BusPeer.h"

// A gate that callbacks wait at, and a count of those that have come.
class Gate {
public:
    void pass() {
        std::unique_lock lock(mutex_);
        ++arrived_;
        changed_.notify_all();
        changed_.wait(lock, [&] { return open_; });
    }
    void open() {
        std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }
    bool waitForArrivals(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return arrived_ >= count; });
    }
    int arrived() {
        std::lock_guard lock(mutex_);
        return arrived_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int arrived_ = 0;
    bool open_ = false;
};

template <class Condition>
bool eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

inline const BrevantBusFunctions* const bus = &EmbeddedBus::busFunctions();

class Peer : public Support::BusPeer {
public:
    Peer() : BusPeer(bus) {}
};
using Support::BusMessage;

// Keeps the messages whose names match a pattern.
class Log {
public:
    explicit Log(const std::u16string& pattern) {
        peer_.onPattern(pattern, [this](const BusMessage& message) {
            std::lock_guard lock(mutex_);
            messages_.push_back(message);
            arrived_.notify_all();
            return MODULE_STATUS_SUCCESS;
        });
    }
    // The first message of that name; nothing when it does not come in time.
    std::optional<BusMessage> waitFor(const std::u16string& name) {
        std::unique_lock lock(mutex_);
        auto found = messages_.end();
        arrived_.wait_for(lock, std::chrono::seconds(20), [&] {
            found = std::ranges::find(messages_, name, &BusMessage::name);
            return found != messages_.end();
        });
        return found == messages_.end() ? std::nullopt : std::optional(*found);
    }
    bool waitForMessages(size_t count) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, std::chrono::seconds(20), [&] { return messages_.size() >= count; });
    }
    std::vector<BusMessage> all() {
        std::lock_guard lock(mutex_);
        return messages_;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<BusMessage> messages_;
    Peer peer_;  // last: its callbacks use what stands above
};

inline MessageHeader plainHeader() {
    MessageHeader header{};
    header.headerKind = 1;
    header.version = BREVANT_MESSAGE_VERSION;
    header.extensionTag = BREVANT_MESSAGE_EXTENSION_TAG;
    header.extensionLength = BREVANT_MESSAGE_EXTENSION_LENGTH;
    return header;
}

// A handle for tests that call the table themselves.
class RawHandle {
public:
    RawHandle() { EXPECT_EQ(bus->acquireHandle(&handle_), MODULE_STATUS_SUCCESS); }
    ~RawHandle() { bus->releaseHandle(handle_); }
    RawHandle(const RawHandle&) = delete;
    RawHandle& operator=(const RawHandle&) = delete;
    operator BrevantBusHandle() const { return handle_; }

private:
    BrevantBusHandle handle_ = nullptr;
};
