#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>

#include "FakeRegistry.h"
#include "logging/CETWConfigurationListener.h"

namespace {

using namespace ETWLogging;

// Reports a change whenever the test says so.
class FakeWatch : public Platform::RegistryWatch {
public:
    struct Bell {
        std::mutex mutex;
        std::condition_variable rung;
        int changes = 0;
        bool cancelled = false;

        void ring() {
            std::lock_guard lock(mutex);
            ++changes;
            rung.notify_all();
        }
    };

    explicit FakeWatch(Bell& bell) : bell_(bell) {}
    bool wait() override {
        std::unique_lock lock(bell_.mutex);
        bell_.rung.wait(lock, [&] { return bell_.cancelled || bell_.changes > 0; });
        if (bell_.cancelled)
            return false;
        --bell_.changes;
        return true;
    }
    void cancel() override {
        std::lock_guard lock(bell_.mutex);
        bell_.cancelled = true;
        bell_.rung.notify_all();
    }

private:
    Bell& bell_;
};

class Receiver : public LoggingConfigListenerIf {
public:
    void configurationChanged(const LoggingConfig& config) noexcept override {
        std::lock_guard lock(mutex_);
        configs_.push_back(config);
        arrived_.notify_all();
    }
    LoggingConfig waitFor(size_t count) {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(
            arrived_.wait_for(lock, std::chrono::seconds(20), [&] { return configs_.size() >= count; }));
        return configs_.size() < count ? LoggingConfig() : configs_[count - 1];
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<LoggingConfig> configs_;
};

TEST(CETWConfigurationListener, HandsOnWhatCanBeReadAtEveryChange) {
    const std::u16string key = u"SOFTWARE\\Corvane\\Logging";
    FakeRegistry registry;
    Receiver receiver;
    FakeWatch::Bell bell;
    const CETWConfigurationListener listener(receiver, registry, std::make_unique<FakeWatch>(bell));

    bell.ring();
    LoggingConfig config = receiver.waitFor(1);
    EXPECT_FALSE(config.enable || config.severity) << "there is no key yet";

    registry.setNumber(key, u"Enable", 5);
    bell.ring();
    config = receiver.waitFor(2);
    EXPECT_EQ(config.enable, true);
    EXPECT_FALSE(config.severity);

    registry.setNumber(key, u"Enable", 0);
    registry.setNumber(key, u"Severity", 4);
    bell.ring();
    config = receiver.waitFor(3);
    EXPECT_EQ(config.enable, false);
    EXPECT_EQ(config.severity, 4u);
}

TEST(CETWConfigurationListener, DoesNothingWhereTheSystemCannotWatch) {
    FakeRegistry registry;
    Receiver receiver;
    const CETWConfigurationListener listener(receiver, registry, nullptr);
}

}  // namespace
