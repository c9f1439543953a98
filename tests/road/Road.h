// The whole system, driven through the module's exported functions and a bus that nobody here wrote into it:
// the fixture plays host, settings manager, viewer and product.
#pragma once

#include <atomic>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <set>

#include <brevant/module.h>

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

    void initialize();
    void start();
    void stop();
    void uninitialize();
    void destroy();
    uint32_t direct(const std::u16string& name, const std::u16string& payload);

    ModuleHandle* handle = nullptr;
    const BrevantModuleFunctions* functions = nullptr;

private:
    void* library_ = nullptr;
};

// Answers the settings protocol from a map, and tells of changes.
class Settings {
public:
    Settings();
    void set(const std::u16string& name, const std::u16string& value);
    void remove(const std::u16string& name);
    // Answers nothing until this is set again.
    std::atomic<bool> silent{false};

private:
    uint32_t answerOne(const Support::BusMessage& request);
    uint32_t answerMany(const Support::BusMessage& request);

    std::mutex mutex_;
    std::map<std::u16string, std::u16string> properties_;
    Support::BusPeer peer_;
};

// A viewer as its author would write it: answers each request with the reply that confirms it.
class Viewer {
public:
    enum class Manner { confirms, namesAnotherAlert, isSilent, dismissesAtOnce, publishesFailed };

    explicit Viewer(const std::u16string& id);
    // The instance id of the next alert that it was asked to show; empty when none comes in time.
    std::u16string waitForShow(std::chrono::milliseconds timeout = std::chrono::seconds(20));
    bool waitForDelete(const std::u16string& instance);
    void dismiss(const std::u16string& instance);
    // Answers the show requests that it has kept silent about.
    void answerHeld();
    std::u16string payloadOf(const std::u16string& instance) const;

    std::atomic<Manner> manner{Manner::confirms};

private:
    uint32_t onShow(const Support::BusMessage& request);
    uint32_t onDelete(const Support::BusMessage& request);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::u16string> shown_;
    size_t taken_ = 0;
    std::set<std::u16string> deleted_;
    std::map<std::u16string, std::u16string> payloads_;
    std::map<std::u16string, std::u16string> alertIds_;
    std::vector<Support::BusMessage> held_;
    Support::BusPeer peer_;
};

struct AlertText {
    std::u16string id = u"a";
    std::u16string priority = u"P2";
    std::u16string title = u"Title";
    std::u16string viewer = u"v";
    std::u16string product = u"p";
    uint32_t session = 1;
    uint32_t timeout = 30;
    std::u16string json(const std::u16string& instance) const;
};

class RoadTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Asks for an instance id, publishes the show request under it and returns it.
    std::u16string show(const AlertText& alert);
    // The same, and waits until the broker has answered with the status word.
    std::u16string showAndExpect(const AlertText& alert, const std::u16string& statusWord);
    bool seen(const std::u16string& name, std::chrono::milliseconds timeout = std::chrono::seconds(20));
    void deleteAlert(const std::u16string& instance);
    void switchTo(uint32_t session);
    // The registry text that registers the event sink beside the program.
    static std::string eventSinkKey();
    std::u16string outcome(const std::u16string& id, const std::u16string& word,
                           const std::u16string& instance) {
        return u"Brevant.Alert." + id + u"." + word + u"." + instance;
    }

    Support::PlatformFolder folder;
    std::unique_ptr<Settings> settings;
    std::unique_ptr<Viewer> viewer;
    std::unique_ptr<Support::MessageLog> log;
    std::unique_ptr<Support::BusPeer> product;
    std::unique_ptr<Module> module;
};

}  // namespace Road
