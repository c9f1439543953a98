// The whole system, driven through the module's exported functions and a bus that nobody here wrote into it:
// the fixture plays host, settings manager, viewer and product.
#pragma once

#include <atomic>
#include <gtest/gtest.h>
#include <map>
#include <optional>

#include <brevant/cpp/alerts.h>
#include <brevant/module.h>

#include "host/program/settings/SettingsService.h"
#include "support/Beside.h"
#include "support/BusPeer.h"
#include "support/PlatformFolder.h"

namespace Road {

// The module's library, loaded through its exports and freed with the object.
class Module {
public:
    Module();
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // Each with the step before it: initialize, uninitialize.
    void start();
    // Initialises it over no bus at all, which throws and catches an exception on this thread.
    uint32_t initializeWithoutBus();
    void stop();
    void destroy();
    uint32_t direct(const std::u16string& name, const std::u16string& payload);

private:
    std::optional<Support::LoadedLibrary> library_;
    ModuleHandle* handle_ = nullptr;
    const BrevantModuleFunctions* functions_ = nullptr;
};

// The host's settings manager, and one who changes settings. Nothing is written down.
class Settings {
public:
    explicit Settings(const std::u16string& file);
    void set(const std::u16string& name, const std::u16string& value);
    void remove(const std::u16string& name);

private:
    Host::SettingsStore store_;
    Host::SettingsService service_;
    Support::BusPeer peer_;
};

// A viewer as its author would write it: answers each request with the reply that confirms it.
class Viewer : Support::Monitor {
public:
    enum class Manner { confirms, isSilent, dismissesAtOnce, publishesFailed, namesAnotherAlert };

    explicit Viewer(const std::u16string& id);
    // The instance id of the next alert that it was asked to show; empty when none comes in time.
    std::u16string waitForShow();
    void dismiss(const std::u16string& instance);
    // Answers the show requests that it has kept silent about.
    void answerHeld();
    // Of the request to show it.
    std::u16string payloadOf(const std::u16string& instance) const;

    std::atomic<Manner> manner{Manner::confirms};

private:
    uint32_t onShow(const Support::BusMessage& request);
    // Of the alert that was asked for under that instance.
    std::u16string outcome(std::u16string_view word, const std::u16string& instance) const;

    std::map<std::u16string, Support::BusMessage> requests_;  // by instance
    std::vector<std::u16string> shown_;
    std::vector<Support::BusMessage> held_;
    size_t taken_ = 0;
    Support::BusPeer peer_;
};

struct AlertText {
    std::u16string id = u"a";
    std::u16string priority = u"P2";
    std::u16string title = u"Title";
    std::u16string viewer = u"v";
    std::u16string product = u"p";
    uint32_t session = 1;
    std::u16string json(const std::u16string& instance) const;
};

// An alert like no other.
AlertText titled(const std::u16string& id);

class RoadTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Asks for an instance id, publishes the show request under it and returns it.
    std::u16string show(const AlertText& alert);
    // The same, and waits until the broker has answered with the status word.
    std::u16string showAndExpect(const AlertText& alert, const std::u16string& statusWord);
    // An alert of that id that is on screen.
    std::u16string occupy(const std::u16string& id);
    bool seen(const std::u16string& name) { return log->waitFor(name).has_value(); }
    void deleteAlert(const std::u16string& instance);
    std::u16string outcome(const std::u16string& id, const std::u16string& word,
                           const std::u16string& instance) {
        return Brevant::alertMessage(id, u"." + word + u".", instance);
    }

    Support::PlatformFolder folder;
    std::optional<Settings> settings;
    std::optional<Viewer> viewer;
    std::optional<Support::MessageLog> log;
    std::optional<Support::BusPeer> product;
    std::optional<Module> module;
};

}  // namespace Road
