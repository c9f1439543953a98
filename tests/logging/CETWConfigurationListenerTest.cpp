#include <future>
#include <gtest/gtest.h>

#include "FakeRegistry.h"
#include "logging/CETWConfigurationListener.h"

namespace {

using namespace ETWLogging;

// What the registry goes through, a change a wait; then nothing more until the watch is cancelled.
struct ScriptedWatch : Platform::RegistryWatch {
    ScriptedWatch(FakeRegistry& registry, std::promise<void>& finished)
        : registry_(registry), finished_(finished) {}
    bool wait() override {
        if (++waits_ == 1)
            return true;  // there is no key yet
        auto& values = registry_.keys[u"SOFTWARE\\Corvane\\Logging"];
        if (waits_ == 2) {
            values = {{u"Enable", 5u}};
        } else if (waits_ == 3) {
            values = {{u"Enable", 0u}, {u"Severity", 4u}};
        } else {
            finished_.set_value();
            cancelled_.get_future().wait();
            return false;
        }
        return true;
    }
    void cancel() override { cancelled_.set_value(); }

    FakeRegistry& registry_;
    std::promise<void>& finished_;
    std::promise<void> cancelled_;
    int waits_ = 0;
};

using Config = std::pair<std::optional<bool>, std::optional<uint32_t>>;

struct Receiver : LoggingConfigListenerIf {
    void configurationChanged(const LoggingConfig& config) noexcept override {
        configs.emplace_back(config.enable, config.severity);
    }
    std::vector<Config> configs;
};

TEST(CETWConfigurationListener, HandsOnWhatCanBeReadAtEveryChangeUntilItEnds) {
    FakeRegistry registry;
    Receiver receiver;
    std::promise<void> finished;
    {
        const CETWConfigurationListener whereTheSystemCannotWatch(receiver, registry, nullptr);
        const CETWConfigurationListener listener(receiver, registry,
                                                 std::make_unique<ScriptedWatch>(registry, finished));
        finished.get_future().wait();
    }
    EXPECT_EQ(receiver.configs,
              (std::vector<Config>{{std::nullopt, std::nullopt}, {true, std::nullopt}, {false, 4u}}));
}

}  // namespace
