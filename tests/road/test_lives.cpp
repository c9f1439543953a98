// A hundred lives of the module in one process leave nothing behind.
#include "road/Road.h"
#include "support/ProcessCounts.h"

namespace Road {
namespace {

class ModuleLives : public RoadTest {
protected:
    // The module throws and catches an exception on this thread.
    void refuseABus() {
        EXPECT_EQ(module->functions->InitializeModuleV2(module->handle, u"", u"", 0, nullptr, nullptr,
                                                        nullptr, nullptr, nullptr, nullptr),
                  MODULE_STATUS_UNKNOWN_EXCEPTION);
    }
};

TEST_F(ModuleLives, LeaveNoThreadDescriptorOrMemoryBehind) {
    bool traces = false;
    const auto live = [&] {
        // In turn with the file logger and with a trace provider. The sink is there because Wine leaves keys
        // open when it looks for one in vain.
        traces = !traces;
        if (folder.isOwnMachine())
            folder.writeRegistry(
                "Windows Registry Editor Version 5.00\n\n"
                "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Logging]\n"
                "\"Logging Mechanism\"=dword:0000000" +
                std::string(traces ? "1\n\n" : "0\n\n") + eventSinkKey());
        RoadTest::SetUp();
        refuseABus();
        AlertText alert;
        const auto shown = showAndExpect(alert, u"Queued");
        EXPECT_EQ(viewer->waitForShow(), shown);
        EXPECT_TRUE(seen(outcome(alert.id, u"Shown", shown)));
        viewer->dismiss(shown);
        EXPECT_TRUE(seen(outcome(alert.id, u"Dismissed", shown)));
        module->stop();
        module->uninitialize();
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
