#include "host/program/HostFixture.h"
#include "host/program/service/RoadPrinter.h"
#include "host/program/settings/SettingsService.h"
#include "host/program/viewer/ConsoleViewer.h"
#include "support/FakeBus.h"

namespace Host {
namespace {

constexpr auto patience = std::chrono::seconds(20);

class ConsoleViewerTest : public HostTest {
protected:
    static std::u16string description(const std::u16string& id) {
        return u"{\"id\":\"" + id +
               uR"(","context":{"title":"T","actions":[{"text":"Go","defaultmessage":{"messagename":"Product.Go",)"
               uR"("payload":"now"}},{"text":"Nothing"}],"dismissalactions":[{"messagename":"Product.Dismissed"}],)"
               uR"("timeoutactions":[{"messagename":"Product.Ignored"}]}})";
    }
    // The name that answers a request to the viewer.
    std::u16string ask(const std::u16string& what, const std::u16string& payload = u"") {
        return broker.request(u"Brevant.Viewer.console." + what, payload, patience).message.name;
    }
    void expectShown(const std::u16string& id, const std::u16string& instance) {
        EXPECT_EQ(ask(u"Show." + instance, description(id)), u"Brevant.Alert." + id + u".Shown." + instance);
    }
    // What was published about alerts, without the common beginning.
    std::vector<std::u16string> told(size_t count) {
        std::vector<std::u16string> names;
        for (const auto& message : alerts.all(count))
            names.push_back(message.name.substr(14));
        return names;
    }

    Recorder alerts{u"Brevant\\.Alert\\..+"}, choices{u"Product\\..+"};
    FakeDisplay display;
    BusConnection broker{bus(), u"Brevant"};
};

using Names = std::vector<std::u16string>;

TEST_F(ConsoleViewerTest, RegistersItselfWithTheSettingsManagerForAsLongAsItIsThere) {
    SettingsStore store(inFolder(u"settings.json"));
    SettingsService settings(bus(), store);
    ConsoleViewer viewer(bus(), display);
    EXPECT_TRUE(viewer.registerViewer());
    EXPECT_TRUE(store.get(u"Brevant/Viewer/console"));
    EXPECT_TRUE(store.withPrefix(u"").front().isVolatile);
    viewer.close();
    EXPECT_FALSE(store.get(u"Brevant/Viewer/console"));
}

TEST_F(ConsoleViewerTest, ConfirmsWhatItShowsAndReportsTheUsersChoice) {
    ConsoleViewer viewer(bus(), display);
    expectShown(u"a", u"1");
    EXPECT_EQ(display.waitForShown(1).at(0).title, u"T");
    display.end({Showing::Ending::dismissed, 0});
    expectShown(u"b", u"2");
    display.end({Showing::Ending::dismissed, {}});
    expectShown(u"c", u"3");
    display.end({Showing::Ending::timedOut, {}});
    Names chosen;
    for (const auto& choice : choices.all(3))
        chosen.push_back(choice.name + choice.payload);
    EXPECT_EQ(chosen, (Names{u"Product.Gonow", u"Product.Dismissed", u"Product.Ignored"}));
    EXPECT_EQ(told(6), (Names{u"a.Shown.1", u"a.Dismissed.1", u"b.Shown.2", u"b.Dismissed.2", u"c.Shown.3",
                              u"c.Dismissed.3"}));
}

TEST_F(ConsoleViewerTest, TakesAnAlertDownOnADeleteRequestWithoutASecondOutcome) {
    ConsoleViewer viewer(bus(), display);
    expectShown(u"a", u"1");
    EXPECT_EQ(ask(u"Delete.1"), u"Brevant.Alert.a.Dismissed.1");
    // The next one is deleted on its way to the display.
    display.beforeShowing = [&] {
        display.beforeShowing = nullptr;
        EXPECT_EQ(ask(u"Delete.2"), u"Brevant.Alert.b.Dismissed.2");
    };
    ask(u"Show.2", description(u"b"));
    // This one is on display, so the others are over and done with.
    expectShown(u"c", u"3");
    EXPECT_EQ(std::ranges::count(told(5), u"a.Dismissed.1"), 1);
    EXPECT_TRUE(choices.all().empty());
    EXPECT_EQ(ask(u"Delete.1"), u"Brevant.Alert.a.Dismissed.1") << "one that is gone is answered as well";
    EXPECT_EQ(ask(u"Delete.77"), u"Brevant.Alert..Dismissed.77") << "and one that never was";
    display.end({Showing::Ending::dismissed, {}});
}

TEST_F(ConsoleViewerTest, RefusesWhatItCannotShowAndEndsTheAlertOnScreenAsFailedWhenItCloses) {
    ConsoleViewer viewer(bus(), display);
    EXPECT_EQ(ask(u"Show.1", u"no JSON"), u"Brevant.Alert..Failed.1");
    EXPECT_TRUE(display.waitForShown(0).empty());
    expectShown(u"a", u"2");
    viewer.close();
    EXPECT_EQ(told(3), (Names{u".Failed.1", u"a.Shown.2", u"a.Failed.2"}));
    EXPECT_EQ(broker.request(u"Brevant.Viewer.console.Show.2", description(u"b"), patience).status,
              MODULE_STATUS_NO_SUBSCRIBERS);
}

TEST_F(ConsoleViewerTest, ThePrinterKeepsTheOrderOfTheRoadAndStandsInForNoViewer) {
    std::ostringstream output;
    Console console(output, output);
    RoadPrinter printer(bus(), console, ConsoleViewer::usualId);
    broker.publish(u"Brevant.Viewer.console.Registered");
    broker.publish(u"Brevant.Alert.GetId");
    broker.publish(u"Brevant.Alert.GetId.Response");
    // An answer that overtakes what it answers is printed after it.
    BusConnection other(bus(), u"Other");
    broker.publish(u"Brevant.Alert.\x1B[2J.Queued.1");
    other.publish(u"Brevant.Alert.Show.1");
    EXPECT_TRUE(printer.waitFor(u"Brevant.Alert.\x1B[2J.Queued.1", patience));
    EXPECT_LT(output.str().find("Brevant.Alert.Show.1"), output.str().find(".Queued.1"));
    EXPECT_EQ(output.str().find('\x1B'), std::string::npos);
    EXPECT_NE(output.str().find("Brevant.Viewer.console.Registered"), std::string::npos);
    for (const char16_t* unheard : {u"Brevant.Viewer.other.Show.1", u"Brevant.Viewer.console.Show.1"})
        EXPECT_EQ(broker.request(unheard, u"", patience).status, MODULE_STATUS_NO_SUBSCRIBERS);
}

TEST(BusConnectionTest, ALateCallbackIsTurnedAway) {
    static BrevantMessageFunction deliver;
    static void* context;
    Support::FakeBus bus;
    BrevantBusFunctions table = *bus.functions();
    table.subscribe = [](BrevantBusHandle, void* its, BrevantMessageFunction function, const char16_t*) {
        deliver = function;
        context = its;
        return uint32_t{1};
    };
    const auto answer = [](const Support::FakeBus::Sent& request, const char16_t* name) {
        return request.replyFunction(request.replyContext, request.replyIndex, nullptr, name, nullptr,
                                     nullptr, 0);
    };
    // Twice, from inside the request.
    bus.answer(u"r", [&](const Support::FakeBus::Sent& request) {
        EXPECT_EQ(answer(request, u"r"), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(answer(request, nullptr), MODULE_STATUS_SUCCESS);
        return std::nullopt;
    });
    int calls = 0;
    {
        BusConnection connection(table, u"s");
        connection.subscribe(u"n", [&](const ReceivedMessage& message) -> uint32_t {
            ++calls;
            EXPECT_EQ(message.payload, u"");
            throw 5;
        });
        EXPECT_EQ(deliver(context, nullptr, u"n", nullptr, nullptr), MODULE_STATUS_UNKNOWN_EXCEPTION);
        EXPECT_EQ(connection.request(u"r", u"", std::chrono::seconds(1)).message.name, u"r");
    }
    EXPECT_EQ(deliver(context, nullptr, u"n", u"", u""), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(answer(bus.requests().at(0), u"r"), MODULE_STATUS_NOT_FOUND);
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace Host
