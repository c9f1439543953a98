#include "alerts/sessions/SessionFixture.h"

namespace Support {
namespace {

using AlertGlobalSessionTest = SessionFixture;

TEST_F(AlertGlobalSessionTest, PrefersTheGreaterPriorityValueThenTheGreaterInstance) {
    const auto prefers = [&](const std::shared_ptr<Vok::Alert>& own,
                             const std::shared_ptr<Vok::Alert>& user) {
        EXPECT_TRUE(queue(*global, own));
        const bool preferred = global->preferGlobal(*user);
        EXPECT_EQ(global->popAlert(), own);
        return preferred;
    };
    EXPECT_FALSE(global->preferGlobal(*alert(u"a")));
    EXPECT_TRUE(prefers(alert(u"a", 3), alert(u"b", 1)));
    EXPECT_FALSE(prefers(alert(u"b", 1), alert(u"a", 3)));
    EXPECT_TRUE(prefers(alert(u"b", 2), alert(u"a", 2)));
    EXPECT_FALSE(prefers(alert(u"a", 2), alert(u"b", 2)));
    EXPECT_FALSE(prefers(alert(u"a", 2), alert(u"a", 2)));
    EXPECT_TRUE(prefers(alert(u"10", 2), alert(u"1", 2)));
    EXPECT_FALSE(prefers(alert(u"10", 2), alert(u"9", 2)));
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
