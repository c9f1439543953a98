// A hundred lives of the module in one process leave nothing behind.
#include "road/Road.h"
#include "support/ProcessCounts.h"

namespace Road {
namespace {

using ModuleLives = RoadTest;

TEST_F(ModuleLives, LeaveNoThreadDescriptorOrMemoryBehind) {
    bool traces = false;
    const auto live = [&] {
        // In turn with the file logger and with a trace provider.
        traces = !traces;
        if (folder.isOwnMachine())
            folder.writeKey("Corvane\\Logging",
                            traces ? "\"Logging Mechanism\"=dword:1" : "\"Logging Mechanism\"=dword:0");
        RoadTest::SetUp();
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
