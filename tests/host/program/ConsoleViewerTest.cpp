#include "ConsoleViewer.h"
#include "HostFixture.h"
#include "RoadPrinter.h"
#include "SettingsService.h"

namespace Host {
namespace {

constexpr auto patience = std::chrono::seconds(20);

class ConsoleViewerTest : public HostTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(broker.subscribePattern(u"Brevant\\.Alert\\..+", alerts.handler()));
        ASSERT_TRUE(broker.subscribePattern(u"Product\\..+", choices.handler()));
    }

    static std::u16string description(const std::u16string& id) {
        return u"{\"id\":\"" + id +
               uR"(","context":{"title":"T","actions":[{"text":"Go","defaultmessage":{"messagename":"Product.Go",)"
               uR"("payload":"now"}},{"text":"Nothing"}],"dismissalactions":[{"messagename":"Product.Dismissed"}],)"
               uR"("timeoutactions":[{"messagename":"Product.Ignored"}]}})";
    }
    // The name that answers a show request.
    std::u16string show(const std::u16string& instance, const std::u16string& payload) {
        return broker.request(u"Brevant.Viewer.console.Show." + instance, payload, patience).message.name;
    }
    std::u16string remove(const std::u16string& instance) {
        return broker.request(u"Brevant.Viewer.console.Delete." + instance, u"", patience).message.name;
    }

    Recorder alerts, choices;
    FakeDisplay display;
    BusConnection broker{bus(), u"Brevant"};
};

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
    EXPECT_EQ(show(u"1", description(u"a")), u"Brevant.Alert.a.Shown.1");
    EXPECT_EQ(display.waitForShown(1).at(0).title, u"T");
    display.end({Showing::Ending::dismissed, 0});
    EXPECT_EQ(show(u"2", description(u"b")), u"Brevant.Alert.b.Shown.2");
    display.end({Showing::Ending::dismissed, {}});
    EXPECT_EQ(show(u"3", description(u"c")), u"Brevant.Alert.c.Shown.3");
    display.end({Showing::Ending::timedOut, {}});
    const auto published = choices.take(3);
    ASSERT_EQ(published.size(), 3u);
    EXPECT_EQ(published[0].name + published[0].payload, u"Product.Gonow");
    EXPECT_EQ(published[1].name, u"Product.Dismissed");
    EXPECT_EQ(published[2].name, u"Product.Ignored");
    std::vector<std::u16string> names;
    for (const BusMessage& message : alerts.take(6))
        names.push_back(message.name);
    EXPECT_EQ(names,
              (std::vector<std::u16string>{u"Brevant.Alert.a.Shown.1", u"Brevant.Alert.a.Dismissed.1",
                                           u"Brevant.Alert.b.Shown.2", u"Brevant.Alert.b.Dismissed.2",
                                           u"Brevant.Alert.c.Shown.3", u"Brevant.Alert.c.Dismissed.3"}));
}

TEST_F(ConsoleViewerTest, TakesAnAlertDownOnADeleteRequestWithoutASecondOutcome) {
    ConsoleViewer viewer(bus(), display);
    EXPECT_EQ(show(u"1", description(u"a")), u"Brevant.Alert.a.Shown.1");
    EXPECT_EQ(remove(u"1"), u"Brevant.Alert.a.Dismissed.1");
    // The next one is on display, so the first is over and done with.
    EXPECT_EQ(show(u"2", description(u"b")), u"Brevant.Alert.b.Shown.2");
    EXPECT_EQ(alerts.take(3).size(), 3u);
    EXPECT_TRUE(choices.take(0).empty());
    EXPECT_EQ(remove(u"1"), u"Brevant.Alert.a.Dismissed.1") << "one that is gone is answered as well";
    EXPECT_EQ(remove(u"77"), u"Brevant.Alert..Dismissed.77") << "and one that never was";
    display.end({Showing::Ending::dismissed, {}});
}

TEST_F(ConsoleViewerTest, TakesAnAlertDownThatIsDeletedOnItsWayToTheDisplay) {
    ConsoleViewer viewer(bus(), display);
    display.beforeShowing = [&] {
        display.beforeShowing = nullptr;
        EXPECT_EQ(remove(u"1"), u"Brevant.Alert.a.Dismissed.1");
    };
    show(u"1", description(u"a"));
    EXPECT_EQ(show(u"2", description(u"b")), u"Brevant.Alert.b.Shown.2");
    display.end({Showing::Ending::dismissed, {}});
}

TEST_F(ConsoleViewerTest, RefusesWhatItCannotShowAtOnce) {
    ConsoleViewer viewer(bus(), display);
    EXPECT_EQ(show(u"1", u"no JSON"), u"Brevant.Alert..Failed.1");
    EXPECT_TRUE(display.waitForShown(0).empty());
}

TEST_F(ConsoleViewerTest, EndsTheAlertOnScreenAsFailedWhenItCloses) {
    ConsoleViewer viewer(bus(), display);
    EXPECT_EQ(show(u"1", description(u"a")), u"Brevant.Alert.a.Shown.1");
    viewer.close();
    const auto names = alerts.take(2);
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[1].name, u"Brevant.Alert.a.Failed.1");
    EXPECT_EQ(broker.request(u"Brevant.Viewer.console.Show.2", description(u"b"), patience).status,
              MODULE_STATUS_NO_SUBSCRIBERS);
}

TEST_F(ConsoleViewerTest, ThePrinterKeepsTheOrderOfTheRoadAndStandsInForNoViewer) {
    std::ostringstream output;
    Console console(output, output);
    RoadPrinter printer(bus(), console, u"console");
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
    static BrevantReplyFunction answer;
    static void *messageContext, *replyContext;
    static BrevantBusFunctions table = EmbeddedBus::busFunctions();
    table.subscribe = [](BrevantBusHandle, void* context, BrevantMessageFunction function, const char16_t*) {
        deliver = function;
        messageContext = context;
        return uint32_t{1};
    };
    table.request = [](BrevantBusHandle, uint64_t index, void* context, BrevantReplyFunction function,
                       const MessageHeader* header, const char16_t* name, const char16_t*, const char16_t*,
                       uint32_t) {
        answer = function;
        replyContext = context;
        // Twice, from inside the request, and once without texts.
        EXPECT_EQ(function(context, index, header, name, nullptr, nullptr, 0), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(function(context, index, nullptr, nullptr, nullptr, nullptr, 0), MODULE_STATUS_SUCCESS);
        return uint32_t{0};
    };
    int calls = 0;
    {
        BusConnection connection(table, u"s");
        connection.subscribe(u"n", [&](const BusMessage& message) -> uint32_t {
            ++calls;
            EXPECT_EQ(message.payload, u"");
            throw 5;
        });
        EXPECT_EQ(deliver(messageContext, nullptr, u"n", nullptr, nullptr), MODULE_STATUS_UNKNOWN_EXCEPTION);
        EXPECT_EQ(connection.request(u"r", u"", std::chrono::seconds(1)).message.name, u"r");
    }
    EXPECT_EQ(deliver(messageContext, nullptr, u"n", u"", u""), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(answer(replyContext, 1, nullptr, u"r", u"", u"", 0), MODULE_STATUS_NOT_FOUND);
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace Host
