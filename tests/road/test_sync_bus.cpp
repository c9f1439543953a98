// The road on a bus that delivers from inside publish, request and unsubscribe on the calling thread, and
// ends unanswered requests at once.
#include "road/Road.h"

namespace Road {
namespace {

using SyncBusRoad = RoadTest;

TEST_F(SyncBusRoad, AnOutcomeThatComesFromInsideTheShowRequestEndsTheAlert) {
    using enum Viewer::Manner;
    for (const Viewer::Manner manner : {dismissesAtOnce, publishesFailed, dismissesAtOnce}) {
        viewer->manner = manner;
        const auto instance = showAndExpect(titled(u"a"), u"Queued");
        EXPECT_EQ(viewer->waitForShow(), instance);
    }
}

TEST_F(SyncBusRoad, NothingOfTheModuleIsLeftOnTheBus) {
    const Support::LoadedLibrary bus(beside(u"MessageBus.dll"));
    const auto openHandles = bus.function<int (*)()>("SyncBusOpenHandles");
    const auto subscriptions = bus.function<size_t (*)()>("SyncBusSubscriptions");
    module.reset();
    const int handlesBefore = openHandles();
    const size_t subscriptionsBefore = subscriptions();
    for (int life = 0; life < 3; ++life) {
        module.emplace().start();
        const auto shown = occupy(u"a");
        showAndExpect(titled(u"b"), u"Queued");
        viewer->dismiss(shown);
        viewer->dismiss(viewer->waitForShow());
        // The third life is destroyed without the steps that should come before.
        if (life < 2)
            module->stop();
        module.reset();
        EXPECT_EQ(openHandles(), handlesBefore);
        EXPECT_EQ(subscriptions(), subscriptionsBefore);
    }
}

}  // namespace
}  // namespace Road
