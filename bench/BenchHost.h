// A host that does nothing but keep the module busy: settings manager, viewer and product in one.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include <brevant/module.h>

#include "support/BusPeer.h"
#include "support/PlatformFolder.h"

namespace Bench {

// A description of about 1,500 characters, as products send them. id and instanceId are equal, so that delete
// requests find queued alerts; the title holds the number, so that no two alerts are duplicates.
std::u16string description(uint64_t number, uint32_t session);

class BenchHost {
public:
    BenchHost();
    ~BenchHost();

    // The next number that the broker accepts.
    uint64_t nextInstance();
    void publishShow(uint64_t number, const std::u16string& payload);
    // Both wait for the broker's answer.
    void accept(uint64_t number, const std::u16string& payload);
    void remove(uint64_t number);
    // Waits until the viewer has been asked to show that many alerts since the start.
    void waitForShown(uint64_t count);
    uint64_t shown() const;

private:
    uint32_t onStatus(const Support::BusMessage& message);
    uint32_t onShow(const Support::BusMessage& message);
    uint32_t onSettings(const Support::BusMessage& message);
    // Publishes what makes the broker answer with that name, and waits for the answer.
    void publishAndWait(const std::u16string& request, const std::u16string& payload,
                        const std::u16string& answer);

    Support::PlatformFolder folder_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::u16string expected_;  // emptied when it has come
    uint64_t shown_ = 0;
    Support::BusPeer product_;
    Support::BusPeer viewer_;
    void* library_ = nullptr;
    const BrevantModuleFunctions* functions_ = nullptr;
    ModuleHandle* module_ = nullptr;
};

}  // namespace Bench
