#include "alerts/sessions/SessionFixture.h"

namespace Support {
namespace {

using AlertGlobalSessionTest = SessionFixture;

TEST_F(AlertGlobalSessionTest, PrefersTheGreaterPriorityValueThenTheGreaterInstance) {
    EXPECT_FALSE(global->preferGlobal(*alert(u"a")));
    const std::tuple<std::u16string, int32_t, std::u16string, int32_t, bool> cases[]{
        {u"a", 3, u"b", 1, true},  {u"b", 1, u"a", 3, false}, {u"b", 2, u"a", 2, true},
        {u"a", 2, u"a", 2, false}, {u"10", 2, u"1", 2, true}, {u"10", 2, u"9", 2, false}};
    for (const auto& [instance, priority, other, otherPriority, preferred] : cases) {
        const auto own = alert(instance, priority);
        EXPECT_TRUE(queue(*global, own));
        EXPECT_EQ(global->preferGlobal(*alert(other, otherPriority)), preferred)
            << testing::PrintToString(instance) << testing::PrintToString(other);
        EXPECT_EQ(global->popAlert(), own);
    }
    EXPECT_EQ(global->popAlert(), nullptr);
}

TEST_F(AlertGlobalSessionTest, WakesTheFirstCallbackOfEverySessionForAQueuedAlertAlone) {
    LogCapture log;
    int first = 0, second = 0, discarded = 0;
    // A callback may use the session: it runs outside the lock.
    global->registerSession(1, [&] { first += global->isEmpty() ? 0 : 1; });
    global->registerSession(1, [&] { ++discarded; });
    global->registerSession(2, [&] { ++second; });
    EXPECT_TRUE(queue(*global, alertWith({.instance = u"1", .id = u"one"})));
    EXPECT_FALSE(queue(*global, alertWith({.instance = u"2"})));
    EXPECT_EQ(first, 1);
    global->unregisterSession(1);
    global->unregisterSession(9);
    log.clear();
    EXPECT_FALSE(global->deleteAlert(u"1"));
    EXPECT_TRUE(global->deleteAlert(u"one"));
    EXPECT_TRUE(global->isEmpty());
    EXPECT_TRUE(log.records().empty());
    EXPECT_TRUE(queue(*global, alert(u"4")));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(discarded, 0);
}

}  // namespace
}  // namespace Support
