// The host: the settings manager, the broker's module, session notifications and what watches over them,
// brought up and taken down in the right order.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/program/service/AlertWatch.h"
#include "host/program/service/ModuleHost.h"
#include "host/program/service/Presence.h"
#include "host/program/service/SessionNotifier.h"
#include "host/program/settings/SettingsService.h"

namespace Host {

// The subfolder of the log files.
constexpr const char16_t* logGroup = u"BrevantHost";

// The usual settings file, the bus library and the module, in Windows form.
std::u16string usualStore();
std::u16string busLibraryFile();
std::u16string moduleFile();
// Where the log of this program is.
std::u16string logFolder();

class Host {
public:
    // Everything runs when the constructor returns. Throws HostError. Table and store outlive the host.
    // standsIn: the example plugin serves products that ask for it.
    Host(const BrevantBusFunctions& functions, SettingsStore& store, const std::u16string& busName,
         bool handsOverBus, bool standsIn);
    // Stops the module, which waits for the alerts on screen, then what it needs. Idempotent.
    ~Host() { shutDown(); }
    void shutDown();

    // Withdraws the alerts that wait and has those on screen taken down, as any product may. Waits for the
    // answers, at most that time.
    void takeDownAlerts(std::chrono::milliseconds most);
    // Each alert that waits or is shown, in words.
    std::vector<std::u16string> heldAlerts() const;
    HostStatus status() const;
    std::u16string description() const;

    // Why the broker will not show an alert of that session at once; empty when nothing keeps it.
    static std::u16string waitingReason(uint32_t session);

private:
    bool standIn(const std::u16string& product);

    const SettingsStore& store_;
    const std::u16string busName_;
    const bool handsOverBus_;
    const Platform::Clock::Time began_ = Platform::Clock::steady().now();
    const std::u16string start_;
    std::u16string version_;
    SettingsService settings_;
    AlertWatch alerts_;
    std::optional<ModuleHost> module_;
    BusConnection sessionsBus_;
    std::optional<SessionNotifier> sessions_;
    BusConnection connection_;
    std::optional<Presence> presence_;
    BusConnection statusBus_;  // last: its handler uses what stands above
};

}  // namespace Host
