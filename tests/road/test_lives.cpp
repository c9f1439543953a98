// A hundred lives of the module in one process leave nothing behind.
#include <brevant/event_sink.h>

#include "road/Road.h"
#include "support/ProcessCounts.h"

namespace Road {
namespace {

class ModuleLives : public RoadTest {};

TEST_F(ModuleLives, LeaveNoThreadDescriptorOrMemoryBehind) {
    bool traces = false;
    const auto live = [&] {
        // In turn with the file logger and with a trace provider. The sink is there because Wine leaves keys
        // open when it looks for one in vain.
        traces = !traces;
        if (folder.isOwnMachine())
            folder.writeRegistry(
                folder.keyText("Corvane\\Logging",
                               traces ? "\"Logging Mechanism\"=dword:1" : "\"Logging Mechanism\"=dword:0") +
                folder.componentText(BREVANT_EVENT_SINK_CLASS_ID_TEXT, beside(ROAD_EVENT_SINK_FILE)));
        RoadTest::SetUp();
        EXPECT_EQ(module->initializeWithoutBus(), MODULE_STATUS_UNKNOWN_EXCEPTION);
        const auto shown = occupy(u"a");
        viewer->dismiss(shown);
        EXPECT_TRUE(seen(outcome(u"a", u"Dismissed", shown)));
        module->stop();
        RoadTest::TearDown();
        Support::BusPeer::forgetEnded();
    };
    RoadTest::TearDown();
    for (int warmUp = 0; warmUp < 10; ++warmUp)
        live();
    const Support::ProcessCounts before = Support::ProcessCounts::now();
    for (int i = 0; i < 100; ++i)
        live();
    EXPECT_TRUE(Support::ProcessCounts::comesDownTo(before))
        << "before: " << before << "\nafter:  " << Support::ProcessCounts::now();
}

}  // namespace
}  // namespace Road
