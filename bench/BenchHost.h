// A host that does nothing but keep the module busy, and what stands around it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <brevant/module.h>

#include "bench/HandOver.h"
#include "bench/Run.h"
#include "support/Beside.h"
#include "support/BusPeer.h"
#include "support/PlatformFolder.h"

namespace Bench {

// The user sessions: the first shows alerts, those of the second wait.
constexpr uint32_t showingSession = 1;
constexpr uint32_t waitingSession = 2;

// A description as products send them, of about 1,500 characters with the usual contents. id and instanceId
// are equal, so that delete requests find queued alerts; the title holds the number, so that no two alerts
// are duplicates.
constexpr size_t usualContents = 900;
std::u16string description(uint64_t number, uint32_t session, size_t contents = usualContents);

// The machine's sessions, and the host's settings manager, which knows one viewer and one product.
class Surroundings {
public:
    Surroundings();

private:
    uint32_t answer(const Support::BusMessage& request);

    Support::PlatformFolder folder_;
    Support::BusPeer settings_;
};

// Answers each request to show an alert and dismisses it at once, but for those that it is told to keep on
// screen.
class Viewer {
public:
    Viewer();
    // The next alert stays on screen.
    void holdNext() { hold_ = true; }
    void waitForHeld() { held_.wait(); }
    // Dismisses it, and waits until so many more have been shown and dismissed. Returns the seconds that it
    // took.
    double dismissHeldAndFollow(uint32_t count);

private:
    uint32_t onShow(const Support::BusMessage& request);

    std::atomic<bool> hold_{false};
    Signal held_, done_;
    std::u16string heldName_;
    std::atomic<uint32_t> toCome_{0};
    Clock::time_point ended_;
    Support::BusPeer peer_;  // last: its callbacks use what stands above
};

// The module's library, loaded, and a module that has been started.
class Module {
public:
    // Over a bus of the host's where one is given.
    explicit Module(BrevantBusHandle handle = nullptr, const BrevantBusFunctions* bus = nullptr);
    // Stops it, destroys it and unloads the library.
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // Returns the seconds that it took; nothing may follow.
    double destroy();
    // Handled before it returns.
    void direct(const std::u16string& name, const std::u16string& payload = u"");

    // Numbers that the broker accepts, the first of so many.
    uint64_t takeNumbers(uint32_t count);
    // Lets so many alerts wait.
    void fill(uint32_t count, size_t contents = usualContents);
    void remove(uint64_t first, uint32_t count);

private:
    Support::LoadedLibrary library_;
    const BrevantModuleFunctions* functions_;
    ModuleHandle* handle_ = nullptr;
    uint64_t next_ = 1;
};

}  // namespace Bench
