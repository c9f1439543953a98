// The road on a bus that delivers from inside publish, request and unsubscribe on the calling thread, and
// ends unanswered requests at once.
#include "platform/DynamicLibrary.h"
#include "platform/Process.h"
#include "road/Road.h"

namespace Road {
namespace {

using SyncBusRoad = RoadTest;

AlertText titled(const std::u16string& id) {
    AlertText alert;
    alert.id = id;
    alert.title = u"Title of " + id;
    return alert;
}

TEST_F(SyncBusRoad, AnOutcomeThatComesFromInsideTheShowRequestEndsTheAlert) {
    viewer->manner = Viewer::Manner::dismissesAtOnce;
    const auto first = showAndExpect(titled(u"first"), u"Queued");
    EXPECT_EQ(viewer->waitForShow(), first);
    viewer->manner = Viewer::Manner::publishesFailed;
    const auto second = showAndExpect(titled(u"second"), u"Queued");
    EXPECT_EQ(viewer->waitForShow(), second);
    const auto third = showAndExpect(titled(u"third"), u"Queued");
    EXPECT_EQ(viewer->waitForShow(), third);
}

TEST_F(SyncBusRoad, AViewerThatNeverAnswersFailsTheAlertAndTheNextOneIsShown) {
    viewer->manner = Viewer::Manner::isSilent;
    const auto silent = showAndExpect(titled(u"silent"), u"Queued");
    EXPECT_TRUE(seen(outcome(u"silent", u"Failed", silent)));
    EXPECT_EQ(viewer->waitForShow(), silent);
    viewer->manner = Viewer::Manner::confirms;
    const auto next = showAndExpect(titled(u"next"), u"Queued");
    EXPECT_EQ(viewer->waitForShow(), next);
    viewer->dismiss(next);
}

TEST_F(SyncBusRoad, AModuleWithoutASettingsManagerStartsAndStops) {
    module.reset();
    settings.reset();
    module = std::make_unique<Module>();
    module->initialize();
    module->start();
    showAndExpect(titled(u"a"), u"Suppressed");
    module->stop();
    module->uninitialize();
}

TEST_F(SyncBusRoad, NothingOfTheModuleIsLeftOnTheBus) {
    std::u16string path = Platform::executablePath();
    path = path.substr(0, path.rfind(u'\\') + 1) + u"MessageBus.dll";
    const Platform::LibraryHandle bus = Platform::loadLibrary(path);
    auto openHandles = reinterpret_cast<int (*)()>(Platform::libraryFunction(bus, "SyncBusOpenHandles"));
    auto subscriptions =
        reinterpret_cast<size_t (*)()>(Platform::libraryFunction(bus, "SyncBusSubscriptions"));
    module.reset();
    const int handlesBefore = openHandles();
    const size_t subscriptionsBefore = subscriptions();
    for (int life = 0; life < 3; ++life) {
        module = std::make_unique<Module>();
        module->initialize();
        module->start();
        const auto shown = showAndExpect(titled(u"a"), u"Queued");
        EXPECT_EQ(viewer->waitForShow(), shown);
        showAndExpect(titled(u"b"), u"Queued");
        viewer->dismiss(shown);
        viewer->dismiss(viewer->waitForShow());
        // The third life is destroyed without the steps that should come before.
        if (life < 2) {
            module->stop();
            module->uninitialize();
        }
        module.reset();
        EXPECT_EQ(openHandles(), handlesBefore);
        EXPECT_EQ(subscriptions(), subscriptionsBefore);
    }
    Platform::freeLibrary(bus);
}

}  // namespace
}  // namespace Road
