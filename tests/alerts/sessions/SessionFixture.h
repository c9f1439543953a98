// Sessions without viewers and plugins: alerts show themselves on a screen that the test watches.
#pragma once

#include <condition_variable>
#include <deque>
#include <gtest/gtest.h>
#include <mutex>
#include <set>

#include "alerts/sessions/AlertUserSession.h"
#include "alerts/viewers/AlertViewer.h"
#include "platform/Process.h"
#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"
#include "text/Utf.h"

namespace Support {

constexpr std::chrono::seconds patience{20};

// Keeps what was shown, in order, until the test takes it, and each alert on it until the test ends it.
class Screen {
public:
    // For alerts.
    bool show(const std::u16string& instance);
    bool waitForOutcome(const std::u16string& instance);
    bool dismiss(const std::u16string& instance);

    // The instance id of the next alert that was shown; empty when none comes.
    std::u16string next(std::chrono::milliseconds timeout = patience);
    void end(const std::u16string& instance, bool outcome = true);
    bool shownBefore(const std::u16string& instance);
    size_t dismissals();

    std::atomic<bool> refuses{false};
    // Alerts end as soon as they are shown.
    std::atomic<bool> fleeting{false};
    std::function<void(const std::u16string& instance)> whenShown;  // on the dispatch thread

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::u16string> shown_;
    std::set<std::u16string> everShown_;
    std::map<std::u16string, bool> ended_;
    size_t dismissals_ = 0;
};

class ScreenAlert : public Vok::Alert {
public:
    ScreenAlert(Vok::AlertInfo info, std::shared_ptr<Tavix::MessageBusClient> client,
                std::shared_ptr<Screen> screen)
        : Alert(std::move(info), std::move(client)), screen_(std::move(screen)) {}
    bool show() override { return screen_->show(getInfo().instanceId); }
    bool waitForOutcome(int64_t) override { return screen_->waitForOutcome(getInfo().instanceId); }
    bool dismiss() override { return screen_->dismiss(getInfo().instanceId); }

private:
    const std::shared_ptr<Screen> screen_;
};

// Plugins that pass every alert through, but for the product "suppressed".
class PassingPlugins : public Vok::PluginRegistrar {
public:
    using PluginRegistrar::PluginRegistrar;
    uint32_t processAlert(const std::u16string& product, const std::u16string& alertText,
                          std::u16string& processed, uint32_t* suppress, std::u16string&) override {
        processed = alertText;
        *suppress = product == u"suppressed";
        return MODULE_STATUS_SUCCESS;
    }
    uint32_t getAlertContent(const std::u16string&, const std::u16string&, const std::u16string&,
                             std::u16string&) override {
        return MODULE_STATUS_SUCCESS;
    }
};

// Knows every viewer.
class AnyViewer : public Vok::ViewerRegistrar {
public:
    explicit AnyViewer(const std::shared_ptr<Tavix::MessageBusClient>& client)
        : ViewerRegistrar(client), viewer_(std::make_shared<Vok::AlertViewer>(u"v", client)) {}
    std::shared_ptr<Vok::AlertViewer> findViewer(const std::u16string&) const override { return viewer_; }

private:
    const std::shared_ptr<Vok::AlertViewer> viewer_;
};

// The list of user sessions as the test wants it.
class SessionList {
public:
    std::atomic<uint32_t> active{1};  // 0: none
    std::atomic<bool> fails{false};
    std::function<void()> whenListed;  // on the asking thread, once the list has been made
    Vok::SessionEnumerator enumerator();
};

struct AlertWords {
    std::u16string instance = u"1";
    std::u16string id = u"id";
    int32_t priority = 2;
    std::u16string title = u"title";
    std::u16string product = u"product";
    size_t actions = 0;
};
Vok::AlertInfo alertInfo(const AlertWords& words);

class SessionFixture : public testing::Test {
protected:
    SessionFixture();

    std::shared_ptr<Vok::Alert> alertWith(const AlertWords& words);
    // An alert of that instance, unlike all others.
    std::shared_ptr<Vok::Alert> alert(const std::u16string& instance, int32_t priority = 2);
    std::shared_ptr<Vok::AlertDispatcher> dispatcher();
    std::shared_ptr<Vok::AlertUserSession> userSession(uint32_t id = 1);
    // Whether it was queued.
    static bool queue(Vok::AlertSession& session, std::shared_ptr<Vok::Alert> alert);

    FakeBus bus;
    std::shared_ptr<Tavix::MessageBusClient> client = bus.makeClient();
    std::shared_ptr<Screen> screen = std::make_shared<Screen>();
    SessionList sessions;
    std::shared_ptr<AnyViewer> viewers = std::make_shared<AnyViewer>(client);
    std::shared_ptr<PassingPlugins> plugins =
        std::make_shared<PassingPlugins>(std::make_shared<Tavix::SettingsManagerClient>(client));
    std::shared_ptr<Vok::AlertGlobalSession> global;
};

}  // namespace Support
