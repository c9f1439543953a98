// Plugins that do what the test says; to begin with they pass every alert through.
#pragma once

#include <optional>

#include "alerts/plugins/PluginRegistrar.h"
#include "settings/SettingsManagerClient.h"
#include "support/Monitor.h"

namespace Support {

struct FakePlugins : Vok::PluginRegistrar, private Monitor {
    explicit FakePlugins(const std::shared_ptr<Tavix::MessageBusClient>& client)
        : PluginRegistrar(std::make_shared<Tavix::SettingsManagerClient>(client)) {}
    uint32_t processAlert(const std::u16string& product, const std::u16string& alert, std::u16string& output,
                          uint32_t* flag, std::u16string&) override {
        note(product + u" " + alert);
        output = processed.value_or(alert);
        *flag = product == u"suppressed" ? 1 : suppress;
        return status;
    }
    uint32_t getAlertContent(const std::u16string& product, const std::u16string& alert,
                             const std::u16string& viewer, std::u16string& content) override {
        note(product + u" " + alert + u" " + viewer);
        content = u"content";
        return status;
    }

    uint32_t status = MODULE_STATUS_SUCCESS, suppress = 0;
    std::optional<std::u16string> processed;

    // What was asked last.
    std::u16string asked() {
        return locked([&] { return asked_; });
    }

private:
    void note(std::u16string question) {
        locked([&] { asked_ = std::move(question); });
    }

    std::u16string asked_;
};

}  // namespace Support
