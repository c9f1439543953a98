#pragma once

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <brevant/bus.h>

#include "support/BusPeer.h"
#include "support/Monitor.h"

using Support::BusMessage;
using Support::eventually;
using Support::plainHeader;

// A gate that callbacks wait at, and a count of those that have come.
class Gate : Support::Monitor {
public:
    void pass() {
        locked([&] { ++arrived_; });
        await([&] { return open_; });
    }
    void open() {
        locked([&] { open_ = true; });
    }
    bool waitForArrivals(int count) const {
        return comes([&] { return arrived_ >= count; });
    }
    int arrived() const {
        return locked([&] { return arrived_; });
    }

private:
    int arrived_ = 0;
    bool open_ = false;
};

// Of the library beside the program: each case holds whatever bus that is, but where its name says otherwise.
inline const BrevantBusFunctions* const bus = Support::embeddedBus();

class Peer : public Support::BusPeer {
public:
    Peer() : BusPeer(bus) {}
};

// Keeps the messages whose names match a pattern.
class Log : public Support::MessageLog {
public:
    explicit Log(const std::u16string& pattern) : MessageLog({pattern}, bus) {}
};

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
