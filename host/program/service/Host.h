// The host: the bus, the settings manager, the viewer and the broker's module, brought up and taken down in
// the right order.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/program/connection/BusLibrary.h"
#include "host/program/output/Console.h"
#include "host/program/product/AlertFile.h"
#include "host/program/product/Product.h"
#include "host/program/service/ModuleHost.h"
#include "host/program/service/RoadPrinter.h"
#include "host/program/service/SessionNotifier.h"
#include "host/program/settings/SettingsService.h"
#include "host/program/viewer/ConsoleViewer.h"

namespace Host {

// The subfolder of the log files.
constexpr const char16_t* logGroup = u"BrevantHost";

// The usual settings file, in Windows form.
std::u16string usualStore();

class Host {
public:
    // Everything runs when the constructor returns. Throws HostError. Store, console and display outlive the
    // host.
    Host(SettingsStore& store, Console& console, AlertDisplay& display, bool handsOverBus);
    // Ends alerts on screen, then the module, then what it needs. Idempotent.
    ~Host() { shutDown(); }
    void shutDown();

    // Plays the product of the alert; returns when its outcome is known. Reports to the console. True unless
    // the alert failed, has no outcome or was cancelled.
    bool play(const AlertFile& alert);
    // Ends play(), also one that is to come. Any thread.
    void cancel() { product_.cancel(); }

    std::u16string description() const;

private:
    static std::u16string waitingReason(uint32_t session);

    Console& console_;
    const bool handsOverBus_;
    BusLibrary bus_;
    SettingsService settings_;
    RoadPrinter road_;
    ConsoleViewer viewer_;
    std::optional<ModuleHost> module_;
    BusConnection sessionsBus_;
    std::optional<SessionNotifier> sessions_;
    Product product_;
};

}  // namespace Host
